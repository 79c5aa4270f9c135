package zorf.namenode;

import java.io.IOException;
import java.util.EnumSet;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.DFSUtilClient;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;

/** Makes the status that HDFS sends out of the one that the file system has. */
final class Statuses {
  /** HDFS knows no set-user-id and no set-group-id bit. */
  private static final int HDFS_PERMISSION = 01777;

  private final Root root;
  private final ZorfFiles files;

  Statuses(Root root) {
    this.root = root;
    files = root.files();
  }

  /** {@return the answer about a path that the client knows, so that it needs no name} */
  HdfsFileStatus of(Entry entry) throws IOException {
    return of(entry, HdfsFileStatus.EMPTY_NAME, null);
  }

  /**
   * The answer to a client that begins to write a file. With as many DataNodes as the file has replicas it
   * looks for none where one fails, which one is enough here: the file system makes the replicas.
   */
  HdfsFileStatus toWriter(Entry entry) throws IOException {
    return builder(entry, HdfsFileStatus.EMPTY_NAME).replication(1).build();
  }

  /**
   * The status of a file.
   *
   * @param entry the file
   * @param name its name in a listing, else empty
   * @param blocks where its blocks are; null if that was not asked
   */
  HdfsFileStatus of(Entry entry, byte[] name, LocatedBlocks blocks) throws IOException {
    return builder(entry, name).locations(blocks).build();
  }

  private HdfsFileStatus.Builder builder(Entry entry, byte[] name) throws IOException {
    HdfsFileStatus.Builder builder =
        new HdfsFileStatus.Builder()
            .path(name)
            .fileId(entry.inode())
            .isdir(entry.isDirectory())
            .length(entry.isFile() ? entry.size() : 0)
            .mtime(entry.modified())
            .atime(entry.accessed())
            .perm(permission(entry))
            .owner(files.userName(entry.uid()))
            .group(files.groupName(entry.gid()))
            .blocksize(entry.blockSize())
            .replication(entry.replication());
    if (entry.acl()) {
      builder.flags(EnumSet.of(HdfsFileStatus.Flags.HAS_ACL));
    }
    if (entry.type() == FileType.SYMBOLIC_LINK) {
      builder.symlink(DFSUtilClient.string2Bytes(root.linkTarget(entry.path())));
    }
    return builder;
  }

  static FsPermission permission(Entry entry) {
    return new FsPermission((short) (entry.permission() & HDFS_PERMISSION));
  }
}
