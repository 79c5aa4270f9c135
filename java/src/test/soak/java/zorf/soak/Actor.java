package zorf.soak;

import java.util.Arrays;
import java.util.Collections;
import java.util.List;

/** Somebody a thread acts as. */
final class Actor {
  static final int USERS = 6;

  static final Actor ROOT = new Actor("root", 0, 0, Collections.emptyList());

  /** Whom a name that the host does not know stands for. */
  static final Actor STRANGER = new Actor("zorf_stranger", 65534, 65534, Arrays.asList(65534L));

  private static final Actor[] PLAIN = new Actor[USERS];

  static {
    for (int i = 0; i < USERS; i++) {
      long id = 60101 + i;
      long group = 62010 + 10 * i;
      PLAIN[i] = new Actor("zorf_user" + (i + 1), id, id, Arrays.asList(id, group, group + 1));
    }
  }

  final String name;
  final long uid;
  final long gid;
  /** The supplementary groups that a switch installs, ascending. */
  final List<Long> groups;

  private Actor(String name, long uid, long gid, List<Long> groups) {
    this.name = name;
    this.uid = uid;
    this.gid = gid;
    this.groups = groups;
  }

  /** One of the {@link #USERS} users. */
  static Actor user(int i) {
    return PLAIN[i];
  }

  boolean isRoot() {
    return uid == 0;
  }

  /** Whether changes of what {@code owner} owns are granted. */
  boolean mayChange(Actor owner) {
    return isRoot() || this == owner;
  }

  /** Whether these permission bits of others (4, 2, 1) or ownership let this actor in. */
  boolean has(int bits, Actor owner, int mode) {
    return mayChange(owner) || (mode & bits) == bits;
  }

  @Override
  public String toString() {
    return name;
  }
}
