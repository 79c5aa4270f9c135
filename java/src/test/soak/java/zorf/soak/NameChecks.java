package zorf.soak;

import java.io.IOException;
import java.util.Random;

/** Names and ids of users and groups, and the mount table. */
final class NameChecks implements Checks {
  private static final int UNKNOWN_ID = 1234567;

  private final Random random;

  NameChecks(Random random) {
    this.random = random;
  }

  @Override
  public void check(Actor actor) throws Exception {
    int i = random.nextInt(Actor.USERS);
    Actor user = Actor.user(i);
    switch (random.nextInt(11)) {
      case 0:
        Expect.equal("getUser", user.name, Natives.getUser((int) user.uid));
        break;
      case 1:
        Expect.equal("getUid", (int) user.uid, Natives.getUid(user.name));
        break;
      case 2:
        Expect.equal("getGroup", user.name + "_a", Natives.getGroup(user.groups.get(1).intValue()));
        break;
      case 3:
        Expect.equal("getGid", user.groups.get(2).intValue(), Natives.getGid(user.name + "_b"));
        break;
      case 4:
        // A line that is longer than the first buffer.
        Expect.equal("getGid", 63000, Natives.getGid("zorf_big"));
        break;
      case 5:
        Expect.equal("getUid", (int) 3000000000L, Natives.getUid("zorf_high"));
        break;
      case 6:
        Expect.invalid("", () -> Natives.getUser(UNKNOWN_ID + i));
        break;
      case 7:
        Expect.invalid("", () -> Natives.getGroup(UNKNOWN_ID + i));
        break;
      case 8:
        Expect.invalid("nobody_" + i, () -> Natives.getUid("nobody_" + i));
        break;
      case 9:
        Expect.invalid("nobody_" + i, () -> Natives.getGid("nobody_" + i));
        break;
      default:
        if (random.nextBoolean()) {
          Expect.equal("getFsName", "/dev/zorf_soak", Natives.getFsName("/zorf/soak"));
        } else {
          Expect.failing(
              IOException.class, "Success: /zorf/other", () -> Natives.getFsName("/zorf/other"));
        }
        break;
    }
  }
}
