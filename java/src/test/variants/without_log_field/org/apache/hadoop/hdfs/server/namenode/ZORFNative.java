package org.apache.hadoop.hdfs.server.namenode;

/** A class that the library can not find its logger in. */
public final class ZORFNative {
  static {
    System.load(System.getProperty("zorf.library"));
  }

  private ZORFNative() {}
}
