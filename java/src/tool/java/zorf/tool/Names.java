package zorf.tool;

import java.io.IOException;
import java.nio.file.attribute.UserPrincipalNotFoundException;
import java.util.HashMap;
import java.util.Map;

/** Users and groups by name and number. */
final class Names {
  private static final String NUMBER = "[0-9]{1,10}";
  private static final long MAX_ID = 0xFFFF_FFFEL;
  // Numbers without a name are kept too: a tree may have many files of a user who is gone.
  private static final Map<Long, String> USERS = new HashMap<>();
  private static final Map<Long, String> GROUPS = new HashMap<>();

  private Names() {}

  private interface LookUp<K, V> {
    V find(K key) throws IOException;
  }

  private static <K, V> V ask(String what, LookUp<K, V> lookUp, K key) {
    try {
      return lookUp.find(key);
    } catch (UserPrincipalNotFoundException e) {
      throw new Failure("there is no " + what + " '" + key + "'", e);
    } catch (IOException e) {
      throw new Failure(Library.reason(e), e);
    }
  }

  /** A user's name, or the number where there is none. */
  static String user(long uid) {
    return USERS.computeIfAbsent(uid, id -> ask("user", Library.files()::userName, id));
  }

  /** A group's name, or the number where there is none. */
  static String group(long gid) {
    return GROUPS.computeIfAbsent(gid, id -> ask("group", Library.files()::groupName, id));
  }

  /** The id of a user who is given by name or number. */
  static long uid(String user) {
    return user.matches(NUMBER) ? id(user) : ask("user", Library.files()::userId, user);
  }

  /** The id of a group that is given by name or number. */
  static long gid(String group) {
    return group.matches(NUMBER) ? id(group) : ask("group", Library.files()::groupId, group);
  }

  private static long id(String text) {
    long id = Long.parseLong(text);
    if (id > MAX_ID) {
      throw new Failure("'" + text + "' is no id: they end at " + MAX_ID);
    }
    return id;
  }

  /** The name of a user who is given by name or number. */
  static String userName(String user) {
    if (!user.matches(NUMBER)) {
      return user;
    }
    String name = user(id(user));
    if (name.equals(Long.toString(id(user)))) {
      throw new Failure("there is no user with the id " + user);
    }
    return name;
  }
}
