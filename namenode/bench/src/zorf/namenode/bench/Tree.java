package zorf.namenode.bench;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.EnumSet;
import java.util.concurrent.Callable;
import java.util.concurrent.ExecutorService;
import java.util.concurrent.Executors;
import java.util.concurrent.Future;
import java.util.stream.IntStream;
import org.apache.hadoop.crypto.CryptoProtocolVersion;
import org.apache.hadoop.fs.CreateFlag;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.HdfsConstants;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.io.EnumSetWritable;

/**
 * Directories of many files. Apache's NameNode, without a DataNode, has empty ones only; those on this host
 * have a length, for an empty file would be less work.
 */
abstract class Tree {
  private static final int THREADS = 16;
  private static final long LENGTH = 1 << 20;
  private static final long BLOCK = 128 << 20;

  abstract void directory(String path) throws IOException;

  abstract void file(String path) throws IOException;

  /** Makes directories d0, d1... with as many files f0, f1... each. */
  void make(String top, int directories, int files) throws Exception {
    directory(top);
    inParallel(
        directories,
        d -> {
          directory(top + "/d" + d);
          for (int f = 0; f < files; f++) {
            file(top + "/d" + d + "/f" + f);
          }
        });
  }

  /** Makes one directory of files f0, f1... */
  void makeFlat(String top, int files) throws Exception {
    directory(top);
    int piece = 1000;
    inParallel(
        (files + piece - 1) / piece,
        p -> {
          for (int f = p * piece; f < Math.min(files, (p + 1) * piece); f++) {
            file(top + "/f" + f);
          }
        });
  }

  private interface Part {
    void make(int number) throws IOException;
  }

  private static void inParallel(int parts, Part part) throws Exception {
    ExecutorService threads = Executors.newFixedThreadPool(THREADS);
    try {
      for (Future<Void> made :
          threads.invokeAll(
              IntStream.range(0, parts)
                  .mapToObj(
                      p ->
                          (Callable<Void>)
                              () -> {
                                part.make(p);
                                return null;
                              })
                  .toList())) {
        made.get();
      }
    } finally {
      threads.shutdown();
    }
  }

  /** By a NameNode. */
  static Tree of(ClientProtocol nameNode) {
    return new Tree() {
      @Override
      void directory(String path) throws IOException {
        nameNode.mkdirs(path, FsPermission.getDirDefault(), true);
      }

      @Override
      void file(String path) throws IOException {
        create(nameNode, path);
        complete(nameNode, path);
      }
    };
  }

  /** On this host. */
  static Tree of(Path root) {
    return new Tree() {
      @Override
      void directory(String path) throws IOException {
        Files.createDirectories(root.resolve(path.substring(1)));
      }

      @Override
      void file(String path) throws IOException {
        try (RandomAccessFile file = new RandomAccessFile(root + path, "rw")) {
          file.setLength(LENGTH);
        }
      }
    };
  }

  static HdfsFileStatus create(ClientProtocol nameNode, String path) throws IOException {
    return nameNode.create(
        path,
        FsPermission.getFileDefault(),
        "bench",
        new EnumSetWritable<>(EnumSet.of(CreateFlag.CREATE)),
        true,
        (short) 3,
        BLOCK,
        CryptoProtocolVersion.supported(),
        null,
        null);
  }

  static void complete(ClientProtocol nameNode, String path) throws IOException {
    nameNode.complete(path, "bench", null, HdfsConstants.GRANDFATHER_INODE_ID);
  }
}
