package zorf.tool;

import java.io.IOException;
import java.util.HashMap;
import java.util.Map;
import java.util.function.IntFunction;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/** Users and groups by name and number, through the library's own look-up. */
final class Names {
  private static final String NUMBER = "[0-9]{1,10}";
  private static final long MAX_ID = 0xFFFF_FFFEL;
  private static final Map<Long, String> USERS = new HashMap<>();
  private static final Map<Long, String> GROUPS = new HashMap<>();

  private Names() {}

  /** A user's name, or the number where there is none. */
  static String user(long uid) {
    return USERS.computeIfAbsent(uid, id -> lookUp(id, ZORFNative::getUser));
  }

  /** A group's name, or the number where there is none. */
  static String group(long gid) {
    return GROUPS.computeIfAbsent(gid, id -> lookUp(id, ZORFNative::getGroup));
  }

  private static String lookUp(long id, IntFunction<String> database) {
    try {
      return database.apply((int) id);
    } catch (Exception e) {
      failUnlessUnknown(e);
      return Long.toString(id);
    }
  }

  /** The id of a user who is given by name or number. */
  static long uid(String user) {
    if (user.matches(NUMBER)) {
      return id(user);
    }
    try {
      return Integer.toUnsignedLong(ZORFNative.getUid(user));
    } catch (Exception e) {
      failUnlessUnknown(e);
      throw new Failure("there is no user '" + user + "'", e);
    }
  }

  /** The id of a group that is given by name or number. */
  static long gid(String group) {
    if (group.matches(NUMBER)) {
      return id(group);
    }
    try {
      return Integer.toUnsignedLong(ZORFNative.getGid(group));
    } catch (Exception e) {
      failUnlessUnknown(e);
      throw new Failure("there is no group '" + group + "'", e);
    }
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

  /** The natives throw IOException, which they don't declare, for a name or id that is unknown. */
  private static void failUnlessUnknown(Exception e) {
    if (!(e instanceof IOException)) {
      throw new Failure(Library.reason(e), e);
    }
  }
}
