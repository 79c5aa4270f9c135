package zorf.soak;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Collections;
import java.util.HashMap;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.TreeMap;
import java.util.concurrent.atomic.LongAdder;

/** The extended attributes of one thread's own file. */
final class AttributeChecks implements Checks {
  /** So many that a reference kept for each is reported by -Xcheck:jni, where it counts them. */
  private static final int NAMES = 110;

  /** How often getXAttrs is asked for each name. */
  private static final int REPEATS = 4;

  /** All of them must fit into one block of a file system. */
  private static final int MAX_VALUE = 8;
  private static final short CREATE = 1;
  private static final short REPLACE = 2;

  /**
   * What failed calls of setExtendedAttribute have kept: they never free the value, nor release the
   * strings.
   */
  static final LongAdder KEPT_VALUES = new LongAdder();

  static final LongAdder KEPT_STRINGS = new LongAdder();

  private final Random random;
  private final Actor owner;
  private final String file;
  private final Map<String, byte[]> attributes = new TreeMap<>();

  AttributeChecks(Path directory, Actor owner, Random random) throws IOException {
    this.random = random;
    this.owner = owner;
    Path path = Files.createFile(directory.resolve("attributes"));
    FileChecks.give(path, owner, 0600);
    file = path.toString();
    for (int i = 0; i < NAMES; i++) {
      set("user.soak" + i);
    }
  }

  @Override
  public void check(Actor actor) throws Exception {
    boolean allowed = actor.mayChange(owner);
    switch (random.nextInt(10)) {
      case 0:
        // Rarely, for what it keeps.
        if (random.nextInt(16) == 0) {
          failToSet(allowed);
        }
        break;
      case 1:
        remove(allowed);
        break;
      case 2:
        list();
        break;
      case 3:
      case 4:
        get(allowed);
        break;
      case 5:
        dump(allowed);
        break;
      default:
        if (allowed) {
          set(anyName());
        }
        break;
    }
  }

  private String anyName() {
    return "user.soak" + random.nextInt(NAMES);
  }

  private byte[] anyValue() {
    byte[] value = new byte[random.nextInt(MAX_VALUE + 1)];
    random.nextBytes(value);
    return value;
  }

  private void set(String name) {
    byte[] value = random.nextInt(8) == 0 ? null : anyValue();
    short flags = random.nextBoolean() ? 0 : attributes.containsKey(name) ? REPLACE : CREATE;
    Expect.equal(name, 1, Natives.setExtendedAttribute(file, name, value, flags));
    attributes.put(name, value == null ? new byte[0] : value);
  }

  private void failToSet(boolean allowed) throws Exception {
    String name = anyName();
    byte[] value = anyValue();
    if (!allowed) {
      Expect.denied(
          "setxattr failed.", () -> Natives.setExtendedAttribute(file, name, value, (short) 0));
    } else if (attributes.containsKey(name)) {
      Expect.failing(
          IOException.class,
          "File exists: setxattr failed.",
          () -> Natives.setExtendedAttribute(file, name, value, CREATE));
    } else {
      Expect.failing(
          IOException.class,
          "No data available: setxattr failed.",
          () -> Natives.setExtendedAttribute(file, name, value, REPLACE));
    }
    KEPT_VALUES.add(Math.max(32, (value.length + 8 + 15) / 16 * 16));
    KEPT_STRINGS.add(file.length() + name.length() + 2);
  }

  private void remove(boolean allowed) throws Exception {
    String name = anyName();
    String message = "zorf_removexattrs failed.";
    if (!allowed) {
      Expect.denied(message, () -> Natives.removeXAttr(file, name));
    } else if (attributes.containsKey(name)) {
      Expect.equal(name, 1, Natives.removeXAttr(file, name));
      attributes.remove(name);
    } else {
      Expect.failing(
          IOException.class,
          "No data available: " + message,
          () -> Natives.removeXAttr(file, name));
    }
  }

  private void list() {
    String[] names;
    try {
      names = Natives.listXAttrs(file);
    } catch (ArrayIndexOutOfBoundsException e) {
      Expect.that(!attributes.isEmpty(), "listXAttrs of a file without attributes: " + e);
      return;
    }
    Expect.equal("attributes listed", 0, names.length);
    Expect.that(attributes.isEmpty(), "listXAttrs passed over the attributes");
  }

  private void get(boolean allowed) throws Exception {
    List<String> names = new ArrayList<>(attributes.keySet());
    Collections.shuffle(names, random);
    names = names.subList(0, random.nextInt(names.size() + 1));
    List<String> repeated = new ArrayList<>();
    for (int i = 0; i < REPEATS; i++) {
      repeated.addAll(names);
    }
    String[] asked = repeated.toArray(new String[0]);
    if (!allowed) {
      if (asked.length > 0) {
        Expect.denied("zorf_getxattrs failed.", () -> Natives.getXAttrs(file, asked));
      }
      return;
    }
    Map<String, byte[]> expected = new HashMap<>(attributes);
    expected.keySet().retainAll(names);
    compare(expected, Natives.getXAttrs(file, asked));
    Expect.failing(
        IOException.class,
        "No data available: zorf_getxattrs failed.",
        () -> Natives.getXAttrs(file, new String[] {"user.none"}));
  }

  private void dump(boolean allowed) throws Exception {
    if (allowed || attributes.isEmpty()) {
      compare(attributes, Natives.dumpXAttrs(file));
    } else {
      Expect.denied("zorf_dumpxattrs failed.", () -> Natives.dumpXAttrs(file));
    }
  }

  private static void compare(Map<String, byte[]> expected, Map<String, byte[]> actual) {
    Expect.equal("names", expected.keySet(), actual.keySet());
    for (Map.Entry<String, byte[]> each : expected.entrySet()) {
      Expect.equal(each.getKey(), each.getValue(), actual.get(each.getKey()));
    }
  }
}
