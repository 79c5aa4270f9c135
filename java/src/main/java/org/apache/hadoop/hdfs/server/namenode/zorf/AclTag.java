package org.apache.hadoop.hdfs.server.namenode.zorf;

/** Whom an ACL entry is about. */
public enum AclTag {
  /** The owner. */
  USER_OBJ(1, "user", false),
  /** A named user; the qualifier is the uid. */
  USER(2, "user", true),
  /** The owning group. */
  GROUP_OBJ(4, "group", false),
  /** A named group; the qualifier is the gid. */
  GROUP(8, "group", true),
  /** The most that named users, the owning group and named groups get. */
  MASK(16, "mask", false),
  /** Everybody else. */
  OTHER(32, "other", false);

  private final int code;
  private final String word;
  private final boolean qualified;

  AclTag(int code, String word, boolean qualified) {
    this.code = code;
    this.word = word;
    this.qualified = qualified;
  }

  /** {@return the number that stands for this tag in specifications and reports} */
  public int code() {
    return code;
  }

  /** {@return the first word of an entry's text, such as "user"} */
  public String word() {
    return word;
  }

  /** {@return whether entries of this tag have a qualifier} */
  public boolean isQualified() {
    return qualified;
  }

  static AclTag ofCode(int code) {
    for (AclTag tag : values()) {
      if (tag.code == code) {
        return tag;
      }
    }
    throw new IllegalArgumentException("unknown ACL tag " + code);
  }

  /** The tag of a word or its first letter; the presence of a qualifier tells apart two of a word. */
  static AclTag ofWord(String word, boolean qualified) {
    for (AclTag tag : values()) {
      boolean named = word.equals(tag.word) || word.equals(tag.word.substring(0, 1));
      if (named && tag.qualified == qualified) {
        return tag;
      }
    }
    throw new IllegalArgumentException(
        "unknown ACL tag \"" + word + "\"" + (qualified ? " with a qualifier" : ""));
  }
}
