package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Optional;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.DatanodeInfoWithStorage;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import org.apache.hadoop.hdfs.server.namenode.NotReplicatedYetException;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPieces;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockRange;

/**
 * Tells where the blocks of files lie. They tile a file on the grid of its block size; their ids are
 * for clients to tell them apart and are never looked up, the {@link BlockTokens token} says it all.
 */
final class Blocks {
  private static final int INDEX_BITS = 24;

  /** Hosts that a call connects to, each of which may take its time. */
  private static final int MAX_TRIED = 3;

  private static final long INODE_MASK = (1L << 38) - 1;
  private final Root root;
  private final Access access;
  private final Unreadable unreadable;
  private final Topology topology;
  private final BlockTokens tokens;
  private final Leases leases;
  private final BlockPolicy policy;
  private final long mergedSize;
  private final String pool;

  /**
   * Takes what it asks.
   *
   * @param policy the placement policy of the process
   * @param mergedSize the most that neighbours with equal locations are made one block of, under
   *     "local"
   * @param pool the id of the block pool
   */
  Blocks(
      Root root,
      Access access,
      Unreadable unreadable,
      Topology topology,
      BlockTokens tokens,
      Leases leases,
      BlockPolicy policy,
      long mergedSize,
      String pool) {
    this.root = root;
    this.access = access;
    this.unreadable = unreadable;
    this.topology = topology;
    this.tokens = tokens;
    this.leases = leases;
    this.policy = policy;
    this.mergedSize = mergedSize;
    this.pool = pool;
  }

  @ActsAs(ActsAs.Who.READER)
  LocatedBlocks getBlockLocations(String src, long offset, long length) throws IOException {
    if (offset < 0) {
      throw new HadoopIllegalArgumentException("Negative offset is not supported. File: " + src);
    }
    if (length < 0) {
      throw new HadoopIllegalArgumentException("Negative length is not supported. File: " + src);
    }
    return access.guard(
        src,
        Access.Need.READ,
        () -> {
          Optional<Root.Located> located = root.locate(src, offset, length);
          if (located.isPresent()) {
            Entry entry = located.get().entry();
            checkReadable(entry);
            return of(entry, stretches(entry, located.get().pieces()), true);
          }
          Entry entry = root.get(src);
          if (!entry.isFile()) {
            throw new FileNotFoundException("Path is not a file: " + src);
          }
          return of(entry, offset, length, true);
        });
  }

  static long id(long inode, long index) {
    return (inode & INODE_MASK) << INDEX_BITS | index;
  }

  static long generationStamp(Entry entry) {
    return Math.max(1, entry.changed());
  }

  /** A stretch of a file and where it lies. */
  private record Stretch(long offset, long length, List<DatanodeInfoWithStorage> hosts) {}

  /**
   * The blocks that a range touches.
   *
   * @param entry a regular file, or anything else that has none
   * @param forReading whether tokens to read them are wanted, which the caller must be allowed to
   */
  LocatedBlocks of(Entry entry, long offset, long length, boolean forReading) throws IOException {
    if (forReading && entry.isFile()) {
      checkReadable(entry);
    }
    return of(entry, stretches(entry, offset, length), forReading);
  }

  private LocatedBlocks of(Entry entry, List<Stretch> stretches, boolean forReading)
      throws IOException {
    Entry named = forReading && entry.isFile() ? root.withoutLinks(entry) : entry;
    List<LocatedBlock> blocks = new ArrayList<>();
    for (Stretch stretch : stretches) {
      blocks.add(located(named, stretch, forReading));
    }
    LocatedBlock last = null;
    if (entry.size() > 0 && entry.isFile()) {
      LocatedBlock lastFound = blocks.isEmpty() ? null : blocks.get(blocks.size() - 1);
      boolean found =
          lastFound != null
              && lastFound.getStartOffset() + lastFound.getBlockSize() == entry.size();
      last = found ? lastFound : lastOf(named, forReading);
    }
    return new LocatedBlocks(
        entry.isFile() ? entry.size() : 0,
        leases.isHeld(entry.inode()),
        blocks,
        last,
        true, // its length is that of the file: nobody else need be asked
        null,
        null);
  }

  /**
   * The block that a writer goes on in: it begins where the file ends.
   *
   * @param entry the file
   * @param excluded DataNodes that the client could not use
   */
  LocatedBlock next(Entry entry, List<DatanodeInfo> excluded) throws IOException {
    List<DatanodeInfoWithStorage> hosts = anyHosts(entry, entry.size(), Integer.MAX_VALUE);
    hosts.removeIf(host -> excluded.stream().anyMatch(other -> isSame(host, other)));
    long id = id(entry.inode(), entry.size() / entry.blockSize());
    boolean lastTry = hosts.isEmpty();
    Leases.Block block = new Leases.Block(id, entry.size(), lastTry);
    if (lastTry) {
      hosts = backAgain(entry, block, excluded);
    }
    // The file system itself makes the replicas: the first host writes, the others are who the client
    // goes on with when that fails.
    List<DatanodeInfoWithStorage> pipeline =
        hosts.subList(0, Math.min(hosts.size(), Math.max(1, entry.replication())));
    leases.handedOut(entry.inode(), block);
    return toWrite(entry, block, 0, pipeline);
  }

  /**
   * The hosts for a client that could use none. A DataNode that is being restarted is back in a moment: until
   * then the client is told to ask again, which it does for some seconds. Once it has tried again, that is all.
   */
  private List<DatanodeInfoWithStorage> backAgain(
      Entry entry, Leases.Block block, List<DatanodeInfo> excluded) throws IOException {
    List<DatanodeInfoWithStorage> hosts = anyHosts(entry, entry.size(), Integer.MAX_VALUE);
    String text =
        "File "
            + entry.path()
            + " could only be written to 0 of the 1 minReplication nodes. There are "
            + hosts.size()
            + " datanode(s) running and "
            + excluded.size()
            + " node(s) are excluded in this operation.";
    Leases.Block before = leases.of(entry.inode()).map(Leases.Lease::block).orElse(null);
    if (hosts.isEmpty() || block.equals(before)) {
      throw new IOException(text);
    }
    List<DatanodeInfoWithStorage> back =
        hosts.stream().limit(MAX_TRIED).filter(Topology::listens).toList();
    if (back.isEmpty()) {
      throw new NotReplicatedYetException(text);
    }
    return back;
  }

  /**
   * A block that a writer goes on with, at the same DataNode or at another one.
   *
   * @param entry the file
   * @param block as it was handed out
   * @param size what the writer knows of it
   */
  LocatedBlock again(Entry entry, Leases.Block block, long size) throws IOException {
    return toWrite(entry, block, size, List.of());
  }

  private LocatedBlock toWrite(
      Entry entry, Leases.Block block, long size, List<DatanodeInfoWithStorage> hosts)
      throws IOException {
    LocatedBlock located =
        located(
            new ExtendedBlock(pool, block.id(), size, generationStamp(entry)),
            block.offset(),
            hosts);
    located.setBlockToken(
        tokens.sign(
            root.withoutLinks(entry),
            block.offset(),
            entry.blockSize(),
            block.id(),
            BlockTokens.READ | BlockTokens.WRITE));
    return located;
  }

  private static boolean isSame(DatanodeInfo a, DatanodeInfo b) {
    return a.getXferAddr().equals(b.getXferAddr());
  }

  private LocatedBlock lastOf(Entry entry, boolean forReading) throws IOException {
    List<Stretch> stretches = stretches(entry, entry.size() - 1, 1);
    return stretches.isEmpty() ? null : located(entry, stretches.get(0), forReading);
  }

  private void checkReadable(Entry entry) throws IOException {
    if (Paths.isForNatives(entry.path())) {
      unreadable.checkReadable(entry);
    } else {
      access.check(entry.path(), Access.Need.READ);
    }
  }

  private LocatedBlock located(Entry entry, Stretch stretch, boolean forReading)
      throws IOException {
    long id = id(entry.inode(), stretch.offset() / entry.blockSize());
    LocatedBlock block =
        located(
            new ExtendedBlock(pool, id, stretch.length(), generationStamp(entry)),
            stretch.offset(),
            stretch.hosts());
    if (forReading) {
      block.setBlockToken(
          tokens.sign(entry, stretch.offset(), stretch.length(), id, BlockTokens.READ));
    }
    return block;
  }

  private static LocatedBlock located(
      ExtendedBlock block, long offset, List<DatanodeInfoWithStorage> hosts) {
    DatanodeInfoWithStorage[] array = hosts.toArray(new DatanodeInfoWithStorage[0]);
    return new LocatedBlock(
        block,
        array,
        Arrays.stream(array).map(DatanodeInfoWithStorage::getStorageID).toArray(String[]::new),
        Arrays.stream(array)
            .map(DatanodeInfoWithStorage::getStorageType)
            .toArray(StorageType[]::new),
        offset,
        false,
        new DatanodeInfo[0]);
  }

  private List<Stretch> stretches(Entry entry, long offset, long length) throws IOException {
    List<Stretch> stretches = new ArrayList<>();
    if (!entry.isFile() || offset >= entry.size() || length == 0) {
      return stretches;
    }
    if (!Paths.isForNatives(entry.path())) {
      grid(entry, offset, length, stretches);
      return stretches;
    }
    return stretches(entry, root.files().blocks(root.local(entry.path()), offset, length));
  }

  private List<Stretch> stretches(Entry entry, BlockPieces pieces) throws IOException {
    List<Stretch> stretches = new ArrayList<>();
    while (pieces.hasNext()) {
      BlockRange piece = pieces.next();
      for (int i = 0; i < piece.blockCount(); i++) {
        add(
            stretches,
            new Stretch(
                piece.blockOffset(i),
                piece.blockLength(i),
                hosts(entry, piece.blockOffset(i), piece.ids(i))));
      }
    }
    return stretches;
  }

  /** Where the natives can't be asked about the name. */
  private void grid(Entry entry, long offset, long length, List<Stretch> stretches) {
    long size = entry.blockSize();
    long end = length < entry.size() - offset ? offset + length : entry.size();
    for (long at = offset - offset % size; at < end; at += size) {
      stretches.add(new Stretch(at, Math.min(size, entry.size() - at), anyHosts(entry, at)));
    }
  }

  private void add(List<Stretch> stretches, Stretch next) {
    if (policy == BlockPolicy.LOCAL && !stretches.isEmpty()) {
      Stretch last = stretches.get(stretches.size() - 1);
      if (last.hosts().equals(next.hosts()) && last.length() + next.length() <= mergedSize) {
        stretches.set(
            stretches.size() - 1,
            new Stretch(last.offset(), last.length() + next.length(), last.hosts()));
        return;
      }
    }
    stretches.add(next);
  }

  private List<DatanodeInfoWithStorage> hosts(Entry entry, long offset, int[] locations) {
    if (policy == BlockPolicy.SHARED) {
      return anyHosts(entry, offset);
    }
    List<DatanodeInfoWithStorage> hosts = topology.hosts(locations);
    int own = ownHost(hosts);
    if (own > 0) {
      hosts.add(0, hosts.remove(own));
    }
    if (policy == BlockPolicy.RACKAWARE) {
      String rack = topology.rackOf(Caller.current().host());
      // A stable sort: within the rack and outside of it the order stays.
      hosts
          .subList(own < 0 ? 0 : 1, hosts.size())
          .sort((a, b) -> rank(a, rack) - rank(b, rack));
    }
    return hosts;
  }

  private static int rank(DatanodeInfo host, String rack) {
    return host.getNetworkLocation().equals(rack) ? 0 : 1;
  }

  /** All hosts reach all blocks: the client's own one first, then others, another for each block. */
  private List<DatanodeInfoWithStorage> anyHosts(Entry entry, long offset) {
    return anyHosts(entry, offset, Math.max(1, entry.replication()));
  }

  private List<DatanodeInfoWithStorage> anyHosts(Entry entry, long offset, int most) {
    List<DatanodeInfoWithStorage> all = new ArrayList<>(topology.hosts());
    if (all.isEmpty()) {
      return all;
    }
    List<DatanodeInfoWithStorage> hosts = new ArrayList<>();
    int own = ownHost(all);
    if (own >= 0) {
      hosts.add(all.remove(own));
    }
    long block = id(entry.inode(), offset / entry.blockSize());
    int hash = Long.hashCode(block * 0x9E3779B97F4A7C15L); // neighbours end up far from each other
    int start = all.isEmpty() ? 0 : Math.floorMod(hash, all.size());
    for (int i = 0; i < all.size() && hosts.size() < most; i++) {
      hosts.add(all.get((start + i) % all.size()));
    }
    return hosts;
  }

  private static int ownHost(List<DatanodeInfoWithStorage> hosts) {
    String client = Caller.current().host();
    for (int i = 0; i < hosts.size(); i++) {
      if (hosts.get(i).getIpAddr().equals(client)) {
        return i;
      }
    }
    return -1;
  }
}
