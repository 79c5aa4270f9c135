/**
 * Typed views of the byte arrays that cross {@link
 * org.apache.hadoop.hdfs.server.namenode.ZORFNative}: file status records, block location streams
 * and ACLs. Everything here is immutable and works without the native library. Integers are in the
 * byte order of the machine; input that does not fit its format is an {@link
 * IllegalArgumentException}.
 */
package org.apache.hadoop.hdfs.server.namenode.zorf;
