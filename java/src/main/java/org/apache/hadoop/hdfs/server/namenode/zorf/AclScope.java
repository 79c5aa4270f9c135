package org.apache.hadoop.hdfs.server.namenode.zorf;

/** Which ACL of a file an entry belongs to. */
public enum AclScope {
  /** The ACL that decides about access to the file itself. */
  ACCESS(0x8000),
  /** The ACL that a directory hands to what is made in it. */
  DEFAULT(0x4000);

  private final int code;

  AclScope(int code) {
    this.code = code;
  }

  /** {@return the number that stands for this scope in specifications and reports} */
  public int code() {
    return code;
  }

  static AclScope ofCode(int code) {
    for (AclScope scope : values()) {
      if (scope.code == code) {
        return scope;
      }
    }
    throw new IllegalArgumentException("unknown ACL scope " + code);
  }
}
