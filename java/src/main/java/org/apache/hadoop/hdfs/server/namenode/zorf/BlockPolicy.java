package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.nio.charset.StandardCharsets;

/** The placement policies that {@code getBlkCmd} knows; their ordinals are its results. */
public enum BlockPolicy {
  /** The blocks of the file system. */
  LOCAL("local"),
  /** Block size and replica count only. */
  SHARED("shared"),
  /** HDFS blocks, as the file system places them. */
  RACKAWARE("rackaware"),
  /** HDFS blocks, each with the locations that hold most of it. */
  RACKAWARE_SORT("rackaware-sort");

  private final String text;

  BlockPolicy(String text) {
    this.text = text;
  }

  /** {@return the name, such as "rackaware-sort"} */
  public String text() {
    return text;
  }

  /** {@return the name as {@code getBlkCmd} takes it} */
  public byte[] bytes() {
    return text.getBytes(StandardCharsets.US_ASCII);
  }
}
