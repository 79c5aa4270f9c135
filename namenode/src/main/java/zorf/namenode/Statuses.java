package zorf.namenode;

import java.io.IOException;
import java.util.EnumSet;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockLocations;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.FileType;
import org.apache.hadoop.hdfs.server.namenode.zorf.LocatedFileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;

/** Makes the status that HDFS sends out of the one that the file system has. */
final class Statuses {
  private static final int HDFS_PERMISSION = 01777;

  private final ZorfFiles files;

  Statuses(ZorfFiles files) {
    this.files = files;
  }

  HdfsFileStatus of(byte[] name, LocatedFileStatus located) throws IOException {
    FileStatus status = located.status();
    boolean directory = status.type() == FileType.DIRECTORY;
    HdfsFileStatus.Builder builder =
        new HdfsFileStatus.Builder()
            .path(name)
            .fileId(status.inode())
            .isdir(directory)
            .length(directory ? 0 : status.size())
            .mtime(status.modificationTime().toEpochMilli())
            .atime(directory ? 0 : status.accessTime().toEpochMilli())
            .perm(new FsPermission((short) (status.permission() & HDFS_PERMISSION)))
            .owner(files.userName(status.uid()))
            .group(files.groupName(status.gid()));
    if (located.hasAcl()) {
      builder.flags(EnumSet.of(HdfsFileStatus.Flags.HAS_ACL));
    }
    if (located.locations().isPresent()) {
      BlockLocations blocks = located.locations().get();
      builder.blocksize(blocks.blockSize()).replication(Math.max(1, blocks.replicaCount()));
    }
    return builder.build();
  }
}
