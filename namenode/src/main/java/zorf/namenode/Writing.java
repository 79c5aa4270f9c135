package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.file.StandardOpenOption;
import java.util.EnumSet;
import java.util.List;
import java.util.Optional;
import org.apache.hadoop.HadoopIllegalArgumentException;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.hdfs.AddBlockFlag;
import org.apache.hadoop.hdfs.protocol.AlreadyBeingCreatedException;
import org.apache.hadoop.hdfs.protocol.DatanodeID;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.LastBlockWithStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.server.namenode.LeaseExpiredException;
import org.apache.hadoop.hdfs.server.namenode.NotReplicatedYetException;
import org.apache.hadoop.io.EnumSetWritable;

/**
 * The NameNode's part in writing data: it hands out blocks, one after the other, each of which begins
 * where the file ends at that time. DataNodes write straight into the file, so that nothing is to be
 * put together when it is closed.
 */
final class Writing {
  private final Root root;
  private final Access access;
  private final Statuses statuses;
  private final Blocks blocks;
  private final Leases leases;
  private final Space space;

  Writing(Root root, Access access, Statuses statuses, Blocks blocks, Leases leases) {
    this.root = root;
    this.access = access;
    this.statuses = statuses;
    this.blocks = blocks;
    this.leases = leases;
    space = new Space(root);
  }

  @ActsAs(ActsAs.Who.CHANGER)
  LocatedBlock addBlock(
      String src,
      String clientName,
      ExtendedBlock previous,
      DatanodeInfo[] excludeNodes,
      long fileId,
      String[] favoredNodes,
      EnumSet<AddBlockFlag> addBlockFlags)
      throws IOException {
    Entry entry = written(src, clientName, fileId);
    if (lacks(entry, previous)) {
      // The client asks again, some times.
      throw new NotReplicatedYetException(
          "Not replicated yet: "
              + src
              + " has "
              + entry.size()
              + " bytes, its writer knows of more");
    }
    return blocks.next(entry, excludeNodes == null ? List.of() : List.of(excludeNodes));
  }

  /** Nothing has been written to it. */
  @ActsAs(value = ActsAs.Who.CHANGER, paths = {2})
  void abandonBlock(ExtendedBlock b, long fileId, String src, String holder) throws IOException {
    written(src, holder, fileId);
  }

  @ActsAs(ActsAs.Who.CHANGER)
  boolean complete(String src, String clientName, ExtendedBlock last, long fileId)
      throws IOException {
    Entry entry = written(src, clientName, fileId);
    if (lacks(entry, last)) {
      return false; // the client asks again, some times
    }
    leases.end(entry.inode());
    return true;
  }

  /** The DataNode has made the data durable by then. */
  @ActsAs(ActsAs.Who.CHANGER)
  void fsync(String src, long inodeId, String client, long lastBlockLength) throws IOException {
    written(src, client, inodeId);
  }

  @ActsAs(value = ActsAs.Who.SERVICE, paths = {})
  void renewLease(String clientName, List<String> namespaces) {
    leases.renew(clientName);
  }

  /**
   * A client is about to go on with a block at the DataNode that was restarted, or at another one. One that
   * waits for a restart would ask for ever if this failed: what is not known, as after a restart of
   * this service, has no token, and the DataNode refuses it.
   */
  @ActsAs(value = ActsAs.Who.CHANGER, paths = {})
  LocatedBlock updateBlockForPipeline(ExtendedBlock block, String clientName)
      throws IOException {
    Optional<Leases.Lease> lease = leases.ofBlock(clientName, block.getBlockId());
    Optional<Entry> entry = lease.isEmpty() ? Optional.empty() : root.find(lease.get().path());
    if (entry.isEmpty() || !entry.get().isFile() || !leases.of(entry.get().inode()).equals(lease)) {
      return new LocatedBlock(block, new DatanodeInfo[0]);
    }
    return blocks.again(entry.get(), lease.get().block(), block.getNumBytes());
  }

  /**
   * It goes on. A DataNode for which there was no space has the client come again, since it can't tell the
   * reason itself: it is told here.
   */
  @ActsAs(value = ActsAs.Who.CHANGER, paths = {})
  void updatePipeline(
      String clientName,
      ExtendedBlock oldBlock,
      ExtendedBlock newBlock,
      DatanodeID[] newNodes,
      String[] newStorageIDs)
      throws IOException {
    Optional<Leases.Lease> lease = leases.ofBlock(clientName, newBlock.getBlockId());
    if (lease.isPresent()) {
      space.check(lease.get().path());
    }
  }

  @ActsAs(ActsAs.Who.CHANGER)
  boolean recoverLease(String src, String clientName) throws IOException {
    Entry entry = file(src);
    access.check(src, Access.Need.WRITE);
    leases.end(entry.inode());
    return true;
  }

  /** The client goes on in a new block, wherever in the grid the file ends. */
  @ActsAs(ActsAs.Who.CHANGER)
  LastBlockWithStatus append(String src, String clientName, EnumSetWritable<CreateFlag> flag)
      throws IOException {
    Entry entry = file(src);
    access.check(src, Access.Need.WRITE);
    checkFree(entry, clientName, "APPEND_FILE");
    leases.begin(clientName, root.withoutLinks(entry));
    return new LastBlockWithStatus(null, statuses.toWriter(entry));
  }

  @ActsAs(ActsAs.Who.CHANGER)
  boolean truncate(String src, long newLength, String clientName) throws IOException {
    if (newLength < 0) {
      throw new HadoopIllegalArgumentException(
          "Cannot truncate to a negative file size: " + newLength + ".");
    }
    Entry entry = file(src);
    access.check(src, Access.Need.WRITE);
    checkFree(entry, clientName, "TRUNCATE_FILE");
    if (newLength > entry.size()) {
      throw new HadoopIllegalArgumentException(
          "Cannot truncate to a larger file size. Current size: "
              + entry.size()
              + ", truncate size: "
              + newLength
              + ".");
    }
    return access.guard(
        src,
        Access.Need.WRITE,
        () -> {
          try (FileChannel file =
              FileChannel.open(root.localPath(src), StandardOpenOption.WRITE)) {
            file.truncate(newLength);
          }
          return true;
        });
  }

  private Entry file(String src) throws IOException {
    Entry entry = access.guard(src, Access.Need.WRITE, () -> root.get(src));
    if (!entry.isFile()) {
      throw new FileNotFoundException("Path is not a file: " + src);
    }
    return entry;
  }

  /**
   * Whether the file is shorter than what its writer was told to be in it: this host learns of it
   * late, or somebody cut the file. A block that began at such an end would lie over the one before.
   */
  private boolean lacks(Entry entry, ExtendedBlock last) {
    return last != null
        && leases
            .of(entry.inode())
            .map(Leases.Lease::block)
            .filter(block -> block.id() == last.getBlockId())
            .filter(block -> entry.size() - block.offset() < last.getNumBytes())
            .isPresent();
  }

  /** The file that a client says to be writing: the same one still, and this client. */
  private Entry written(String src, String clientName, long fileId) throws IOException {
    Entry entry = wherever(src, clientName, fileId);
    Optional<Leases.Lease> lease = leases.of(entry.inode());
    if (lease.isEmpty()) {
      // Forgotten by a restart: whoever may write the file goes on, and who made it, as one that nobody
      // may write.
      if (entry.uid() != Identity.ofThread().uid()) {
        access.check(src, Access.Need.WRITE);
      }
      leases.begin(clientName, root.withoutLinks(entry));
    } else if (!lease.get().holder().equals(clientName)
        || !lease.get().user().equals(Caller.current().user())) {
      throw new LeaseExpiredException(
          "Client (="
              + clientName
              + ") is not the lease owner (="
              + lease.get().holder()
              + ": "
              + src
              + " (inode "
              + entry.inode()
              + ")");
    }
    return entry;
  }

  /** A client goes on with the path that it began with; the file may have been renamed since. */
  private Entry wherever(String src, String clientName, long fileId) throws IOException {
    String path = leases.of(fileId).map(Leases.Lease::path).orElse(src);
    Optional<Entry> found = access.guard(path, Access.Need.WRITE, () -> root.find(path));
    if (found.isEmpty() || !found.get().isFile() || fileId > 0 && found.get().inode() != fileId) {
      throw new FileNotFoundException(
          "File does not exist: " + src + " (inode " + fileId + ") Holder " + clientName);
    }
    return found.get();
  }

  private void checkFree(Entry entry, String clientName, String operation) throws IOException {
    Optional<Leases.Lease> lease = leases.of(entry.inode());
    if (lease.isEmpty() || leases.isForsaken(lease.get())) {
      return;
    }
    String start =
        "Failed to "
            + operation
            + " "
            + entry.path()
            + " for "
            + clientName
            + " on "
            + Caller.current().host()
            + " because ";
    throw new AlreadyBeingCreatedException(
        lease.get().holder().equals(clientName)
            ? start + clientName + " is already the current lease holder."
            : start
                + "this file lease is currently owned by "
                + lease.get().holder()
                + " on "
                + lease.get().host());
  }
}
