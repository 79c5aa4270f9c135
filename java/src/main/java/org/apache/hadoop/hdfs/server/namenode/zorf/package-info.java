/**
 * What to use {@link org.apache.hadoop.hdfs.server.namenode.ZORFNative} by.
 *
 * <p>{@link org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads} are threads that act as users;
 * {@link org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles} asks about files by path, with types
 * and declared exceptions.
 *
 * <p>The rest are typed views of the byte arrays that cross: file status records, block location
 * streams and ACLs. They are immutable and work without the native library. Integers are in the byte
 * order of the machine; input that does not fit its format is an {@link IllegalArgumentException}.
 */
package org.apache.hadoop.hdfs.server.namenode.zorf;
