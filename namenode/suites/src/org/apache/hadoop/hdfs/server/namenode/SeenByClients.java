package org.apache.hadoop.hdfs.server.namenode;

import static org.mockito.ArgumentMatchers.any;
import static org.mockito.ArgumentMatchers.anyBoolean;
import static org.mockito.ArgumentMatchers.anyString;
import static org.mockito.Mockito.RETURNS_SMART_NULLS;
import static org.mockito.Mockito.doAnswer;
import static org.mockito.Mockito.mock;
import static org.mockito.Mockito.when;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.util.List;
import org.apache.hadoop.fs.FileStatus;
import org.apache.hadoop.fs.Path;
import org.apache.hadoop.fs.permission.AclEntry;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.fs.permission.PermissionStatus;
import org.apache.hadoop.hdfs.DistributedFileSystem;

/** Stand-ins for what suites look into inside Apache's server, filled with what a client is answered. */
public final class SeenByClients {
  private SeenByClients() {}

  /** What suites change of a server that runs. */
  public interface Inheritance {
    boolean isEnabled();

    void enable(boolean enabled) throws IOException;
  }

  public static FSNamesystem namesystem(DistributedFileSystem client, Inheritance inheritance)
      throws IOException {
    FSDirectory directory = mock(FSDirectory.class, RETURNS_SMART_NULLS);
    when(directory.isPosixAclInheritanceEnabled()).thenAnswer(call -> inheritance.isEnabled());
    doAnswer(
            call -> {
              inheritance.enable(call.getArgument(0));
              return null;
            })
        .when(directory)
        .setPosixAclInheritanceEnabled(anyBoolean());
    when(directory.getINode(anyString(), any()))
        .thenAnswer(call -> inode(client, new Path(call.<String>getArgument(0))));
    FSNamesystem namesystem = mock(FSNamesystem.class, RETURNS_SMART_NULLS);
    when(namesystem.getFSDirectory()).thenReturn(directory);
    return namesystem;
  }

  /** One whose image can be saved, since there is none: all is in the file system already. */
  public static NameNode nameNode(FSNamesystem namesystem) {
    NameNode nameNode = mock(NameNode.class, RETURNS_SMART_NULLS);
    when(nameNode.getNamesystem()).thenReturn(namesystem);
    return nameNode;
  }

  private static INode inode(DistributedFileSystem client, Path path) throws IOException {
    FileStatus status;
    try {
      status = client.getFileStatus(path);
    } catch (FileNotFoundException e) {
      return null;
    }
    INode inode =
        new INodeDirectory(
            0,
            path.getName().getBytes("UTF-8"),
            new PermissionStatus(
                status.getOwner(),
                status.getGroup(),
                new FsPermission(status.getPermission().toShort())),
            status.getModificationTime());
    List<AclEntry> entries = client.getAclStatus(path).getEntries();
    if (!entries.isEmpty()) {
      inode.addAclFeature(new AclFeature(AclEntryStatusFormat.toInt(entries)));
    }
    return inode;
  }
}
