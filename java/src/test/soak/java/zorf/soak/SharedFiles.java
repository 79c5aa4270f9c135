package zorf.soak;

import java.io.IOException;
import java.io.RandomAccessFile;
import java.nio.ByteBuffer;
import java.nio.ByteOrder;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.List;
import java.util.Random;
import org.apache.hadoop.hdfs.server.namenode.zorf.BlockPolicy;

/**
 * Files that all threads ask about and none changes. Every question about them is asked once under
 * each policy before the threads start; while one thread goes on choosing policies, each answer
 * must be one of those four.
 */
final class SharedFiles {
  static final long BLOCK_SIZE = 128L << 20;
  /** The block size that zorf itself would show, which is not that of the file system below. */
  private static final long ZORF_BLOCK_SIZE = 4L << 20;

  /** Where a raw status record of x86-64 has st_blksize. */
  private static final int BLOCK_SIZE_OFFSET = 56;

  private static final long MEBI = 1 << 20;
  private static final int QUESTIONS_PER_FILE = 6;

  /** A file, and whether users other than root may read it. */
  private static final class Shared {
    final String path;
    final boolean readable;
    final byte[] record;
    final long inode;
    final byte[][] located = new byte[BlockPolicy.values().length][];
    final byte[][] unlocated = new byte[BlockPolicy.values().length][];
    final long[] blockSizes = new long[BlockPolicy.values().length];

    Shared(Path path, boolean readable) throws IOException {
      this.path = path.toString();
      this.readable = readable;
      this.record = Natives.getFileStatusNative(this.path, true);
      this.inode = (Long) Files.getAttribute(path, "unix:ino");
    }
  }

  private static final class Question {
    final String path;
    final long offset;
    final long length;
    /** The status record sent along, or null. */
    final byte[] record;
    final byte[][] answers = new byte[BlockPolicy.values().length][];

    Question(String path, long offset, long length, byte[] record) {
      this.path = path;
      this.offset = offset;
      this.length = length;
      this.record = record;
    }

    byte[] ask() {
      return Natives.getBlockLocationsNative(path, offset, length, record);
    }
  }

  private final List<Shared> files = new ArrayList<>();
  private final List<Question> questions = new ArrayList<>();
  private final int[] format = Natives.getFileStatusFormatNative();

  SharedFiles(Path directory, Random random) throws IOException {
    Files.createDirectory(directory);
    add(sparse(directory.resolve("grouped"), 96 * MEBI), 1024, 0, true, random);
    add(sparse(directory.resolve("default"), 40 * MEBI + 1), 0, 3, true, random);
    add(sparse(directory.resolve("roots"), 9 * MEBI + 4567), 24, 5, false, random);
    add(sparse(directory.resolve("empty"), 0), 0, 0, true, random);
    for (BlockPolicy policy : BlockPolicy.values()) {
      learn(policy);
    }
  }

  private static Path sparse(Path path, long size) throws IOException {
    try (RandomAccessFile file = new RandomAccessFile(path.toFile(), "rw")) {
      file.setLength(size);
    }
    return path;
  }

  private void add(Path path, int factor, int replicas, boolean readable, Random random)
      throws IOException {
    String name = path.toString();
    Natives.setPermission(name, (short) (readable ? 0644 : 0600));
    if (factor > 0) {
      Natives.setBGF(name, factor);
    }
    if (replicas > 0) {
      Natives.setReplication(name, (short) replicas, true);
    }
    Shared file = new Shared(path, readable);
    files.add(file);
    byte[] onZorf = file.record.clone();
    ByteBuffer.wrap(onZorf)
        .order(ByteOrder.nativeOrder())
        .putLong(BLOCK_SIZE_OFFSET, ZORF_BLOCK_SIZE);
    long size = Files.size(path);
    byte[][] records = {null, file.record, onZorf};
    for (int i = 0; i < QUESTIONS_PER_FILE; i++) {
      long offset = size == 0 ? 0 : (long) (random.nextDouble() * size);
      long length = 1 + (long) (random.nextDouble() * 12 * MEBI);
      questions.add(new Question(name, offset, length, records[i % records.length]));
    }
    questions.add(new Question(name, 0, size, onZorf));
  }

  private void learn(BlockPolicy policy) {
    int index = policy.ordinal();
    Expect.equal("getBlkCmd", index, Natives.getBlkCmd(policy.bytes(), BLOCK_SIZE));
    for (Shared file : files) {
      file.located[index] = Natives.getLocatedFileStatusNative(file.path, true, true, true);
      file.unlocated[index] = Natives.getLocatedFileStatusNative(file.path, true, false, true);
      file.blockSizes[index] = Natives.getBlockSizeNative(file.path, null);
    }
    for (Question question : questions) {
      question.answers[index] = question.ask();
    }
  }

  /** One random question about one of the files, as {@code actor}. */
  void ask(Actor actor, Random random) throws Exception {
    Shared file = files.get(random.nextInt(files.size()));
    boolean readable = file.readable || actor.isRoot();
    switch (random.nextInt(8)) {
      case 0:
        Expect.equal(file.path, file.record, Natives.getFileStatusNative(file.path, true));
        break;
      case 1:
        Expect.equal(file.path, file.inode, Natives.getINum(file.path));
        break;
      case 2:
        if (readable) {
          byte[] record = random.nextBoolean() ? null : file.record;
          long size = Natives.getBlockSizeNative(file.path, record);
          Expect.that(
              Arrays.stream(file.blockSizes).anyMatch(each -> each == size),
              "block size " + size + " of " + file.path);
        } else {
          Expect.denied(file.path, () -> Natives.getBlockSizeNative(file.path, null));
        }
        break;
      case 3:
        if (readable) {
          expectOneOf(
              file.path,
              file.located,
              Natives.getLocatedFileStatusNative(file.path, true, true, true));
        } else {
          Expect.denied(
              "", () -> Natives.getLocatedFileStatusNative(file.path, true, true, true));
        }
        break;
      case 4:
        expectOneOf(
            file.path,
            file.unlocated,
            Natives.getLocatedFileStatusNative(file.path, true, false, true));
        break;
      case 5:
        Expect.that(
            Arrays.equals(format, Natives.getFileStatusFormatNative()), "another record format");
        break;
      default:
        Question question = questions.get(random.nextInt(questions.size()));
        expectOneOf(question.path, question.answers, question.ask());
        break;
    }
  }

  private static void expectOneOf(String path, byte[][] expected, byte[] actual) {
    Expect.that(
        Arrays.stream(expected).anyMatch(each -> Arrays.equals(each, actual)),
        "blocks of " + path + ": an answer of no policy, " + Arrays.toString(actual));
  }
}
