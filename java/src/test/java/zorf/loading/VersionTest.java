package zorf.loading;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertNotNull;
import static org.junit.jupiter.api.Assertions.assertNull;
import static org.junit.jupiter.api.Assertions.assertTrue;

import java.io.DataInputStream;
import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.Arrays;
import java.util.Collections;
import java.util.Enumeration;
import java.util.List;
import java.util.Random;
import java.util.jar.Attributes;
import java.util.jar.JarEntry;
import java.util.jar.JarFile;
import java.util.jar.JarOutputStream;
import java.util.jar.Manifest;
import org.apache.hadoop.hdfs.server.namenode.zorf.LibraryVersion;
import org.junit.jupiter.api.Test;
import org.junit.jupiter.api.io.TempDir;

/** Jar and library of different versions, made from those of the build. */
class VersionTest {
  private static final Path LIBRARY = Paths.get(ChildJvm.property("zorf.library"));
  private static final String VERSION = LibraryVersion.ofJar();
  private static final String OTHER = VERSION.replaceFirst("[0-9]+$", "9");

  @TempDir Path directory;

  private static byte[] bytes(String text) {
    return text.getBytes(StandardCharsets.ISO_8859_1);
  }

  private static int noteIn(byte[] file) {
    byte[] note = bytes("zorfhadoop\0\0" + VERSION + "\0");
    for (int at = 0; at + note.length <= file.length; at++) {
      if (Arrays.equals(note, Arrays.copyOfRange(file, at, at + note.length))) {
        return at;
      }
    }
    throw new AssertionError("no note in " + LIBRARY);
  }

  /** A library whose note says {@link #OTHER}. */
  private Path otherLibrary(String name) throws IOException {
    byte[] file = Files.readAllBytes(LIBRARY);
    byte[] other = bytes("zorfhadoop\0\0" + OTHER + "\0");
    System.arraycopy(other, 0, file, noteIn(file), other.length);
    return Files.write(directory.resolve(name), file);
  }

  /** The jar with another version in its manifest, or with none. */
  private Path otherJar(String version) throws IOException {
    Path made = directory.resolve("zorfhadoop.jar");
    String path =
        Arrays.stream(ChildJvm.property("zorf.test.classpath").split(":"))
            .filter(entry -> entry.endsWith("/zorfhadoop.jar"))
            .findFirst()
            .get();
    try (JarFile jar = new JarFile(path)) {
      Manifest manifest = new Manifest(jar.getManifest());
      manifest.getMainAttributes().remove(Attributes.Name.IMPLEMENTATION_VERSION);
      if (version != null) {
        manifest.getMainAttributes().put(Attributes.Name.IMPLEMENTATION_VERSION, version);
      }
      try (JarOutputStream out = new JarOutputStream(Files.newOutputStream(made), manifest)) {
        for (Enumeration<JarEntry> all = jar.entries(); all.hasMoreElements(); ) {
          JarEntry entry = all.nextElement();
          if (entry.getName().endsWith(".class")) {
            byte[] content = new byte[(int) entry.getSize()];
            try (DataInputStream in = new DataInputStream(jar.getInputStream(entry))) {
              in.readFully(content);
            }
            out.putNextEntry(new JarEntry(entry.getName()));
            out.write(content);
          }
        }
      }
    }
    return made;
  }

  /** The lines of a load with a logger at warn. */
  private static List<String> load(ChildJvm child) throws Exception {
    // The copies have no client library beside them.
    return child.levels("warn").librariesFrom(LIBRARY.getParent()).run("load").lines();
  }

  private static ChildJvm with(Path library) {
    return new ChildJvm().withoutOption("-Dzorf.library=").option("-Dzorf.library=" + library);
  }

  private static List<String> different(String jar, Path path, String library) {
    return Arrays.asList(
        "load done",
        "  warn zorfhadoop.jar is version "
            + jar
            + ", but "
            + path
            + " is version "
            + library
            + ": install jar and library of one version");
  }

  @Test
  void jarAndLibraryOfTheBuildAgree() throws Exception {
    assertNotNull(VERSION);
    assertEquals(VERSION, LibraryVersion.ofFile(LIBRARY.toString()));
    assertEquals(Collections.singletonList("load done"), load(new ChildJvm()));
  }

  @Test
  void aLibraryOfAnotherVersionIsOneLine() throws Exception {
    Path library = otherLibrary("other.so");
    assertEquals(different(VERSION, library, OTHER), load(with(library)));
  }

  @Test
  void aLibraryThatIsFoundByItsNameIsComparedToo() throws Exception {
    Path library = otherLibrary("libzorfhadoop.so");
    ChildJvm child = new ChildJvm().withoutOption("-Dzorf.library=");
    Path none = Files.createDirectory(directory.resolve("none"));
    child.option("-Djava.library.path=" + none + ":" + directory + ":" + LIBRARY.getParent());
    assertEquals(different(VERSION, library, OTHER), load(child));
  }

  @Test
  void aJarOfAnotherVersionIsOneLine() throws Exception {
    assertEquals(
        different(OTHER, LIBRARY, VERSION), load(new ChildJvm().withJar(otherJar(OTHER))));
  }

  @Test
  void aJarWithoutAVersionIsNotCompared() throws Exception {
    assertEquals(
        Collections.singletonList("load done"), load(new ChildJvm().withJar(otherJar(null))));
  }

  @Test
  void aLibraryWithoutTheNoteIsNotCompared() throws Exception {
    byte[] file = Files.readAllBytes(LIBRARY);
    file[noteIn(file)] = 'Z';
    Path library = Files.write(directory.resolve("without.so"), file);
    assertNull(LibraryVersion.ofFile(library.toString()));
    assertEquals(Collections.singletonList("load done"), load(with(library)));
  }

  @Test
  void aFileThatIsNoLibraryHasNoVersion() throws Exception {
    String missing = directory.resolve("missing").toString();
    assertNull(LibraryVersion.ofFile(Files.write(directory.resolve("e"), new byte[0]).toString()));
    assertNull(LibraryVersion.ofFile("/bin/sh"));
    assertNull(LibraryVersion.ofFile("/etc/passwd"));
    try {
      throw new AssertionError(LibraryVersion.ofFile(missing));
    } catch (IOException e) {
      assertTrue(e.getMessage().startsWith(missing), e.getMessage());
    }
    assertNull(LibraryVersion.difference(missing));
    assertNull(LibraryVersion.difference("/proc/self/mem"));
  }

  @Test
  void damagedLibrariesHaveAVersionOrNone() throws Exception {
    byte[] whole = Arrays.copyOf(Files.readAllBytes(LIBRARY), 2048);
    int end = noteIn(whole) + "zorfhadoop\0\0".length() + VERSION.length() + 1;
    Path damaged = directory.resolve("damaged.so");
    for (int size = 0; size < whole.length; size += size < end + 8 ? 1 : 64) {
      Files.write(damaged, Arrays.copyOf(whole, size));
      String version = LibraryVersion.ofFile(damaged.toString());
      assertEquals(size > end + 64 ? VERSION : version, version, "cut at " + size);
      assertTrue(version == null || size >= end, "cut at " + size);
    }
    Random random = new Random(7);
    int[] interesting = {0, 1, 0x7f, 0x80, 0xff};
    for (int round = 0; round < 5_000; round++) {
      byte[] file = whole.clone();
      for (int i = 0; i < 1 + round % 4; i++) {
        file[random.nextInt(end)] = (byte) interesting[random.nextInt(interesting.length)];
      }
      Files.write(damaged, file);
      LibraryVersion.ofFile(damaged.toString()); // null or a text: nothing is thrown
    }
  }
}
