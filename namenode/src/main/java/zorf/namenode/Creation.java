package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardOpenOption;
import java.util.EnumSet;
import java.util.Optional;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DFSConfigKeys;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.io.EnumSetWritable;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/** Makes files; they are empty until their blocks are written. */
final class Creation {
  private static final Logger LOG = LoggerFactory.getLogger(Creation.class);

  private final Root root;
  private final Access access;
  private final Directories directories;
  private final Ownership ownership;
  private final Statuses statuses;
  private final Leases leases;
  private final long minBlockSize;
  private final ReplicationLimits replicationLimits;

  /**
   * Takes what it asks.
   *
   * @param minBlockSize the smallest block size that a client may ask for
   * @param replicationLimits how many replicas
   */
  Creation(
      Root root,
      Access access,
      Directories directories,
      Ownership ownership,
      Statuses statuses,
      Leases leases,
      long minBlockSize,
      ReplicationLimits replicationLimits) {
    this.root = root;
    this.access = access;
    this.directories = directories;
    this.ownership = ownership;
    this.statuses = statuses;
    this.leases = leases;
    this.minBlockSize = minBlockSize;
    this.replicationLimits = replicationLimits;
  }

  @ActsAs(ActsAs.Who.CHANGER)
  HdfsFileStatus create(
      String src,
      FsPermission masked,
      String clientName,
      EnumSetWritable<CreateFlag> flag,
      boolean createParent,
      short replication,
      long blockSize,
      CryptoProtocolVersion[] supportedVersions,
      String ecPolicyName,
      String storagePolicy)
      throws IOException {
    if (ecPolicyName != null && !ecPolicyName.isEmpty()) {
      throw new UnsupportedOperationException("erasure coding is not supported on zorf");
    }
    replicationLimits.check(src, replication);
    if (blockSize < minBlockSize) {
      throw new IOException(
          "Specified block size is less than configured minimum value ("
              + DFSConfigKeys.DFS_NAMENODE_MIN_BLOCK_SIZE_KEY
              + "): "
              + blockSize
              + " < "
              + minBlockSize);
    }
    EnumSet<CreateFlag> flags = flag.get();
    Entry entry =
        access.guard(
            src, Access.Need.CREATE, () -> make(src, masked, flags, createParent));
    Entry made = properties(entry, replication, blockSize);
    leases.begin(clientName, root.withoutLinks(made));
    return statuses.toWriter(made);
  }

  private Entry make(
      String src, FsPermission masked, EnumSet<CreateFlag> flags, boolean createParent)
      throws IOException {
    Optional<Entry> found = root.find(src);
    if (found.isPresent()) {
      if (found.get().isDirectory()) {
        throw new FileAlreadyExistsException(src + " already exists as a directory");
      }
      if (!flags.contains(CreateFlag.OVERWRITE)) {
        throw alreadyExists(src);
      }
      access.check(src, Access.Need.WRITE);
      Files.deleteIfExists(root.localPath(src));
      leases.end(found.get().inode());
    } else if (!flags.contains(CreateFlag.CREATE)) {
      throw new FileNotFoundException("Can't overwrite non-existent " + src);
    }
    Entry parent = directories.parentOf(src, null, createParent);
    Path file = root.localPath(src);
    try {
      FileChannel.open(
              file,
              EnumSet.of(StandardOpenOption.CREATE_NEW, StandardOpenOption.WRITE),
              Directories.attribute(directories.mode(parent, masked)))
          .close();
    } catch (java.nio.file.FileAlreadyExistsException e) {
      throw alreadyExists(src);
    }
    ownership.adopt(src, parent);
    return root.get(src);
  }

  private static FileAlreadyExistsException alreadyExists(String src) {
    return new FileAlreadyExistsException(
        src + " for client " + Caller.current().host() + " already exists");
  }

  /** What the client would like; a file system that can't give it has its own way. */
  private Entry properties(Entry entry, short replication, long blockSize) throws IOException {
    if (!Paths.isForNatives(entry.path())) {
      return entry;
    }
    String local = root.local(entry.path());
    boolean changed = false;
    try {
      if (replication != entry.replication()) {
        root.files().setReplication(local, replication, false);
        changed = true;
      }
      if (blockSize != entry.blockSize()) {
        changed |= root.files().setBlockSize(local, blockSize);
      }
    } catch (IOException e) {
      LOG.debug("{} keeps what the file system gave it", entry.path(), e);
    }
    return changed ? root.get(entry.path()) : entry;
  }
}
