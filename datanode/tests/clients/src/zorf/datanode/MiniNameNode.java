package zorf.datanode;

import java.io.Closeable;
import java.io.File;
import java.io.FileNotFoundException;
import java.io.IOException;
import java.io.RandomAccessFile;
import java.lang.reflect.InvocationTargetException;
import java.lang.reflect.Method;
import java.lang.reflect.Proxy;
import java.net.InetSocketAddress;
import java.nio.file.Files;
import java.util.ArrayList;
import java.util.EnumSet;
import java.util.List;
import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.FsServerDefaults;
import org.apache.hadoop.fs.StorageType;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.AddBlockFlag;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo;
import org.apache.hadoop.hdfs.protocol.DatanodeInfo.DatanodeInfoBuilder;
import org.apache.hadoop.hdfs.protocol.DatanodeInfoWithStorage;
import org.apache.hadoop.hdfs.protocol.ExtendedBlock;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.hdfs.protocol.LastBlockWithStatus;
import org.apache.hadoop.hdfs.protocol.LocatedBlock;
import org.apache.hadoop.hdfs.protocol.LocatedBlocks;
import org.apache.hadoop.hdfs.protocol.DatanodeID;
import org.apache.hadoop.io.EnumSetWritable;
import org.apache.hadoop.util.DataChecksum;

/**
 * As much of a NameNode as Apache's client needs to read and write one user's files in a directory,
 * in the client's own process: the methods below are found by their names.
 */
public final class MiniNameNode {
  static final int REPLICAS = 1;

  private final File root;
  private final String user;
  private final Tokens tokens;
  private final long blockSize;
  private final DatanodeInfo datanode;
  private final Map<Long, String> paths = new ConcurrentHashMap<>(); // by inode

  MiniNameNode(File root, String user, Tokens tokens, long blockSize, InetSocketAddress datanode) {
    this.root = root;
    this.user = user;
    this.tokens = tokens;
    this.blockSize = blockSize;
    String address = datanode.getAddress().getHostAddress();
    this.datanode =
        new DatanodeInfoBuilder()
            .setNodeID(
                new DatanodeID(
                    address, address, "zorf-" + datanode.getPort(), datanode.getPort(), 0, 0, 0))
            .setCapacity(1L << 50)
            .setRemaining(1L << 49)
            .build();
  }

  ClientProtocol protocol() {
    return (ClientProtocol)
        Proxy.newProxyInstance(
            MiniNameNode.class.getClassLoader(),
            new Class<?>[] {ClientProtocol.class, Closeable.class},
            (proxy, method, arguments) -> {
              try {
                Method answer =
                    MiniNameNode.class.getMethod(method.getName(), method.getParameterTypes());
                return answer.invoke(this, arguments);
              } catch (NoSuchMethodException e) {
                throw new IOException("not in this NameNode: " + method);
              } catch (InvocationTargetException e) {
                throw e.getCause();
              }
            });
  }

  // --- files ---

  public FsServerDefaults getServerDefaults() {
    return new FsServerDefaults(
        blockSize, 512, 65536, (short) REPLICAS, 4096, false, 0, DataChecksum.Type.CRC32C);
  }

  public HdfsFileStatus getFileInfo(String path) throws IOException {
    File file = new File(root, path);
    if (!file.exists()) return null;
    return new HdfsFileStatus.Builder()
        .length(file.length())
        .isdir(file.isDirectory())
        .replication(REPLICAS)
        .blocksize(blockSize)
        .perm(FsPermission.getFileDefault())
        .owner(user)
        .group(user)
        .fileId(inodeOf(path))
        .path(file.getName().getBytes())
        .build();
  }

  public HdfsFileStatus create(
      String path,
      FsPermission mode,
      String client,
      EnumSetWritable<CreateFlag> flags,
      boolean createParent,
      short replication,
      long wantedBlockSize,
      CryptoProtocolVersion[] versions,
      String ecPolicy,
      String storagePolicy)
      throws IOException {
    File file = new File(root, path);
    try (RandomAccessFile made = new RandomAccessFile(file, "rw")) {
      made.setLength(0);
    }
    Files.getFileAttributeView(file.toPath(), java.nio.file.attribute.FileOwnerAttributeView.class)
        .setOwner(
            file.toPath().getFileSystem().getUserPrincipalLookupService()
                .lookupPrincipalByName(user));
    return getFileInfo(path);
  }

  public LastBlockWithStatus append(String path, String client, EnumSetWritable<CreateFlag> flags)
      throws IOException {
    long length = new File(root, path).length();
    LocatedBlock last = null;
    if (length % blockSize != 0) {
      last = located(path, length / blockSize, length % blockSize, Tokens.READ | Tokens.WRITE);
    }
    return new LastBlockWithStatus(last, getFileInfo(path));
  }

  public boolean complete(String path, String client, ExtendedBlock last, long fileId) {
    return true;
  }

  public void fsync(String path, long inode, String client, long lastLength) {}

  public void close() {}

  public void renewLease(String client, List<String> namespaces) {}

  // --- blocks ---

  public LocatedBlocks getBlockLocations(String path, long offset, long length)
      throws IOException {
    long size = new File(root, path).length();
    List<LocatedBlock> blocks = new ArrayList<>();
    for (long at = 0; at < size; at += blockSize) {
      blocks.add(located(path, at / blockSize, Math.min(blockSize, size - at), Tokens.READ));
    }
    LocatedBlock last = blocks.isEmpty() ? null : blocks.get(blocks.size() - 1);
    return new LocatedBlocks(size, false, blocks, last, true, null, null);
  }

  public LocatedBlock addBlock(
      String path,
      String client,
      ExtendedBlock previous,
      DatanodeInfo[] excluded,
      long fileId,
      String[] favored,
      EnumSet<AddBlockFlag> flags)
      throws IOException {
    if (excluded != null && excluded.length > 0) {
      throw new IOException("the DataNode was not liked");
    }
    long index = previous == null ? 0 : (previous.getBlockId() & 0xffffff) + 1;
    if (previous == null) index = new File(root, path).length() / blockSize;
    return located(path, index, 0, Tokens.READ | Tokens.WRITE);
  }

  public void abandonBlock(ExtendedBlock block, long fileId, String path, String holder) {}

  /** A client appends to a block, or goes on with one, as it recovers from a failure. */
  public LocatedBlock updateBlockForPipeline(ExtendedBlock block, String client)
      throws IOException {
    long index = block.getBlockId() & 0xffffff;
    String path = paths.get(block.getBlockId() >> 24);
    return located(path, index, block.getNumBytes(), Tokens.READ | Tokens.WRITE);
  }

  public void updatePipeline(
      String client,
      ExtendedBlock before,
      ExtendedBlock after,
      DatanodeID[] nodes,
      String[] storages) {}

  private LocatedBlock located(String path, long index, long size, int rights) throws IOException {
    long inode = inodeOf(path);
    long id = Math.floorMod(inode, 1L << 38) * (1L << 24) + index;
    paths.put(id >> 24, path);
    ExtendedBlock block = new ExtendedBlock(tokens.pool, id, size, 1);
    boolean writes = (rights & Tokens.WRITE) != 0;
    LocatedBlock located =
        new LocatedBlock(
            block,
            new DatanodeInfoWithStorage[] {
              new DatanodeInfoWithStorage(datanode, "zorf", StorageType.DISK)
            },
            new String[] {"zorf"},
            new StorageType[] {StorageType.DISK},
            index * blockSize,
            false,
            null);
    located.setBlockToken(
        tokens.sign(inode, index * blockSize, writes ? blockSize : size, id, rights, user, path));
    return located;
  }

  private long inodeOf(String path) throws IOException {
    try {
      return (Long) Files.getAttribute(new File(root, path).toPath(), "unix:ino");
    } catch (java.nio.file.NoSuchFileException e) {
      throw new FileNotFoundException("File does not exist: " + path);
    }
  }
}
