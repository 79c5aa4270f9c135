package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.IOException;
import java.io.UncheckedIOException;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.util.Iterator;
import java.util.NoSuchElementException;
import java.util.Spliterator;
import java.util.Spliterators;
import java.util.stream.Stream;
import java.util.stream.StreamSupport;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/**
 * The blocks of a file range, asked for piece by piece, so that a file of any size takes little
 * memory. A piece is what one reply of the file system holds, at most 64,512 bytes; the pieces
 * follow one another on the grid of the file's block size, under every placement policy.
 *
 * <pre>{@code
 * for (BlockPieces pieces = files.blocks(path, 0, Long.MAX_VALUE); pieces.hasNext(); ) {
 *   BlockRange piece = pieces.next();
 * }
 * }</pre>
 *
 * <p>For one thread.
 */
public final class BlockPieces {
  /**
   * What a reply of the file system holds. Under "rackaware-sort" a longer range is not grouped on
   * the grid: each reply starts anew.
   */
  private static final int REPLY_LENGTH = 64_512;

  /** Of a file that is not longer all is asked for at once: mostly that is its only block. */
  private static final long SHORT = 1L << 20;

  /** A raw status record of x86-64, and where it has st_blksize, which no layout table names. */
  private static final int RECORD_LENGTH = 144;

  private static final int BLOCK_SIZE_OFFSET = 56;

  private final String path;
  private final byte[] record;
  private final FileStatus status;
  private final long size;
  private final long end;
  private final long blockSize;
  private final int replicaCount;
  private final int blocksInPiece;
  /** Of the only block; null if there are several, or none. */
  private final BlockLocations only;
  private long next;

  BlockPieces(String path, byte[] record, FileStatus status, long offset, long length)
      throws IOException {
    this.path = path;
    this.record = record;
    this.status = status;
    size = isRegular() ? status.size() : 0;
    end = length < size - offset ? offset + length : size;
    only = size > 0 && size <= SHORT ? ifOneBlock(locate(0, size)) : null;
    BlockLocations header = only != null || !isRegular() ? only : locate(0, 0);
    blockSize = header == null ? 0 : header.blockSize();
    replicaCount = header == null ? 0 : header.replicaCount();
    if (offset >= end) {
      next = end;
      blocksInPiece = 1;
      return;
    }
    if (blockSize <= 0) {
      throw Failures.of(path, "has a block size of " + blockSize, Errno.EINVAL);
    }
    next = offset - offset % blockSize;
    // Only "local" answers an empty range with a block; its blocks are not made up of smaller ones.
    blocksInPiece = blocksInPiece(header.blockCount() == 0 ? smallestBlockSize(record) : blockSize);
  }

  private BlockLocations ifOneBlock(BlockLocations all) {
    return size <= all.blockSize() ? all : null;
  }

  private boolean isRegular() {
    return status.type() == FileType.REGULAR;
  }

  private int blocksInPiece(long smallest) {
    long blocksInReply = REPLY_LENGTH / (2L * Integer.BYTES * Math.max(1, replicaCount));
    long smallestInBlock = Math.max(1, blockSize / smallest);
    return (int) Math.max(1, blocksInReply / smallestInBlock);
  }

  /** The file system's own block size; 1, which is on the safe side, where that is not known. */
  static long smallestBlockSize(byte[] record) {
    if (record.length != RECORD_LENGTH) {
      return 1;
    }
    ByteBuffer bytes = ByteBuffer.wrap(record).order(ByteOrder.nativeOrder());
    return Math.max(1, bytes.getLong(BLOCK_SIZE_OFFSET));
  }

  private BlockLocations locate(long offset, long length) throws IOException {
    return BlockLocations.decode(
        Failures.calling(
            "getBlockLocationsNative",
            path, () -> ZORFNative.getBlockLocationsNative(path, offset, length, record)));
  }

  /** {@return the status of the file, as it was when the first blocks were asked for} */
  public FileStatus status() {
    return status;
  }

  /** {@return the number of the device that the file is on} */
  public long device() {
    return LocatedFileStatus.device(record);
  }

  /** {@return the block size of the file, 0 for what is no regular file} */
  public long blockSize() {
    return blockSize;
  }

  /** {@return the number of replicas of the file} */
  public int replicaCount() {
    return replicaCount;
  }

  /** {@return whether there is another piece} */
  public boolean hasNext() {
    return next < end;
  }

  /**
   * Asks for the next piece.
   *
   * @return the piece
   * @throws IOException if the locations can't be had, or are not those of all blocks: the file, or
   *     the placement policy, is another by now
   * @throws NoSuchElementException if there is none
   */
  public BlockRange next() throws IOException {
    if (!hasNext()) {
      throw new NoSuchElementException("the blocks of " + path + " end at " + end);
    }
    long left = (end - next - 1) / blockSize + 1;
    int count = (int) Math.min(left, blocksInPiece);
    long length = size - next <= count * blockSize ? size - next : count * blockSize;
    BlockLocations locations = only != null ? only : locate(next, length);
    int found = locations.blockCount();
    if (locations.blockSize() != blockSize || found != 0 && found < count) {
      throw Failures.of(
          path,
          "told of " + locations + " instead of " + count + " blocks of " + blockSize + " bytes",
          Errno.EIO);
    }
    BlockRange piece = new BlockRange(next, length, count, locations);
    next += count * blockSize;
    return piece;
  }

  /**
   * The pieces that are left.
   *
   * @return a stream that throws an {@link UncheckedIOException} where {@link #next} throws
   */
  public Stream<BlockRange> stream() {
    return StreamSupport.stream(
        Spliterators.spliteratorUnknownSize(new Rest(), Spliterator.ORDERED | Spliterator.NONNULL),
        false);
  }

  private final class Rest implements Iterator<BlockRange> {
    @Override
    public boolean hasNext() {
      return BlockPieces.this.hasNext();
    }

    @Override
    public BlockRange next() {
      try {
        return BlockPieces.this.next();
      } catch (IOException e) {
        throw new UncheckedIOException(e);
      }
    }
  }
}
