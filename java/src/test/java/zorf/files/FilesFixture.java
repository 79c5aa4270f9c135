package zorf.files;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFailure;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.junit.jupiter.api.BeforeEach;
import org.junit.jupiter.api.function.Executable;
import org.junit.jupiter.api.io.TempDir;

/** Real files, asked about by the library in this JVM. */
abstract class FilesFixture {
  static {
    System.setProperty(
        "org.apache.commons.logging.Log", "org.apache.commons.logging.impl.NoOpLog");
  }

  static final int UNIT = 4096; // st_blksize of any file system that tests run on
  static final long MEBI = 1 << 20;

  @TempDir Path directory;
  ZorfFiles files;
  String file;

  @BeforeEach
  void makeFile() throws IOException {
    files = ZorfFiles.create();
    file = Files.createFile(directory.resolve("file")).toString();
  }

  /** A file of that many bytes, none of them written. */
  String sparse(long size) throws IOException {
    Path path = Files.createTempFile(directory, "sparse", "");
    try (RandomAccessFile sparse = new RandomAccessFile(path.toFile(), "rw")) {
      sparse.setLength(size);
    }
    return path.toString();
  }

  /** Asserts everything that there is to a failure. */
  static void assertFails(
      Class<? extends FileSystemException> type,
      String path,
      String reason,
      int errno,
      Executable call) {
    FileSystemException e = assertThrows(type, call);
    assertEquals(path + ": " + reason, e.getMessage());
    assertEquals(path, e.getFile());
    assertEquals(reason, e.getReason());
    assertEquals(errno, ZorfFailure.errnoOf(e));
  }

  static String illegal(Executable call) {
    return assertThrows(IllegalArgumentException.class, call).getMessage();
  }
}
