package org.apache.hadoop.hdfs.server.namenode;

import org.apache.commons.logging.Log;

/** A class whose logger is not there. */
public final class ZORFNative {
  public static final Log LOG = null;

  static {
    System.load(System.getProperty("zorf.library"));
  }

  private ZORFNative() {}

  public static native String getUser(int uid);

  public static native long getINum(String path);
}
