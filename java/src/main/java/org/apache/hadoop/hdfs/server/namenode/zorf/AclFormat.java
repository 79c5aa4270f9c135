package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.nio.BufferUnderflowException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.ArrayList;
import java.util.Collection;
import java.util.Collections;
import java.util.List;

/**
 * The bytes of ACLs. Both directions use the same record for an entry (scope, tag, the qualifier if
 * the tag has one, permission); a specification counts its records, a report ends where the array
 * ends.
 */
public final class AclFormat {
  private AclFormat() {}

  /**
   * Encodes the specification that {@code setAcl}, {@code modifyAclEntries} and {@code
   * removeAclEntries} take.
   *
   * @param entries the entries, of either scope, in any order
   * @return the bytes
   */
  public static byte[] encodeSpecification(Collection<AclEntry> entries) {
    int integers = 1;
    for (AclEntry entry : entries) {
      integers += entry.tag().isQualified() ? 4 : 3;
    }
    ByteBuffer bytes = ByteBuffer.allocate(integers * Integer.BYTES).order(ByteOrder.nativeOrder());
    bytes.putInt(entries.size());
    for (AclEntry entry : entries) {
      bytes.putInt(entry.scope().code()).putInt(entry.tag().code());
      if (entry.tag().isQualified()) {
        bytes.putInt((int) entry.qualifier());
      }
      bytes.putInt(entry.permission());
    }
    return bytes.array();
  }

  /**
   * Decodes the report of {@code getAclStatus}.
   *
   * @param report the bytes
   * @return the entries in their order, unmodifiable
   * @throws IllegalArgumentException if a record is cut short or holds an unknown number
   */
  public static List<AclEntry> decodeReport(byte[] report) {
    ByteBuffer bytes = ByteBuffer.wrap(report).order(ByteOrder.nativeOrder());
    List<AclEntry> entries = new ArrayList<>();
    try {
      while (bytes.hasRemaining()) {
        entries.add(decodeEntry(bytes));
      }
    } catch (BufferUnderflowException e) {
      throw new IllegalArgumentException(
          "ACL report of " + report.length + " bytes ends inside entry " + entries.size(), e);
    }
    return Collections.unmodifiableList(entries);
  }

  private static AclEntry decodeEntry(ByteBuffer bytes) {
    AclScope scope = AclScope.ofCode(bytes.getInt());
    AclTag tag = AclTag.ofCode(bytes.getInt());
    if (tag.isQualified()) {
      long qualifier = Integer.toUnsignedLong(bytes.getInt());
      return AclEntry.of(scope, tag, qualifier, bytes.getInt());
    }
    return AclEntry.of(scope, tag, bytes.getInt());
  }
}
