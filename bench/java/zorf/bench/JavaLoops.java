package zorf.bench;

import java.io.BufferedReader;
import java.io.IOException;
import java.nio.ByteBuffer;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystems;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.nio.file.attribute.PosixFileAttributeView;
import java.nio.file.attribute.PosixFileAttributes;
import java.nio.file.attribute.PosixFilePermission;
import java.nio.file.attribute.PosixFilePermissions;
import java.nio.file.attribute.UserDefinedFileAttributeView;
import java.nio.file.attribute.UserPrincipalLookupService;
import java.util.HashMap;
import java.util.Set;

/**
 * Loops over what a Java programmer would use instead of the native of the same name, with the same
 * arguments: a path is a String at first.
 */
final class JavaLoops {
  private static final UserPrincipalLookupService PRINCIPALS =
      FileSystems.getDefault().getUserPrincipalLookupService();
  private static final Set<PosixFilePermission> PERMISSIONS =
      PosixFilePermissions.fromString("rw-r-----");

  static volatile Object sink;

  private JavaLoops() {}

  /** The PosixFileAttributes of {@link #getFileStatusNative}'s file, from a Path that was made before. */
  static void posixFileAttributes(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink = Files.readAttributes(Data.FILE_PATH[thread], PosixFileAttributes.class);
    }
  }

  /** The same from a String, as the native gets it. */
  static void posixFileAttributesOfString(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink = Files.readAttributes(Paths.get(Data.FILE[thread]), PosixFileAttributes.class);
    }
  }

  /** As many puts of as large values as {@code dumpXAttrs} makes, all made in Java. */
  static void hashMapOf20(int calls, int thread) {
    for (int i = 0; i < calls; ++i) {
      HashMap<String, byte[]> map = new HashMap<>();
      for (byte[] name : Data.NAMES) {
        map.put(new String(name, StandardCharsets.UTF_8), Data.VALUE.clone());
      }
      sink = map;
    }
  }

  static void getUser(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink = Files.getOwner(Paths.get(Data.FILE[thread])).getName();
    }
  }

  static void getGroup(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink =
          Files.readAttributes(Paths.get(Data.FILE[thread]), PosixFileAttributes.class).group().getName();
    }
  }

  static void getUid(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink = PRINCIPALS.lookupPrincipalByName(Data.user);
    }
  }

  static void getGid(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink = PRINCIPALS.lookupPrincipalByGroupName(Data.group);
    }
  }

  static void getFileStatusNative(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink = Files.readAttributes(Paths.get(Data.FILE[thread]), "unix:*");
    }
  }

  static void getINum(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink = Files.getAttribute(Paths.get(Data.FILE[thread]), "unix:ino");
    }
  }

  static void getLinkTargetNative(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink = Files.readSymbolicLink(Paths.get(Data.link));
    }
  }

  static void setPermission(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      Path path = Paths.get(Data.modeFile);
      Files.getFileAttributeView(path, PosixFileAttributeView.class).setPermissions(PERMISSIONS);
    }
  }

  static void getFsName(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      try (BufferedReader mounts = Files.newBufferedReader(Paths.get("/etc/mtab"))) {
        String line;
        while ((line = mounts.readLine()) != null) {
          String[] fields = line.split(" ");
          if (fields[2].equals("zorf") && fields[1].equals("/")) {
            sink = fields[0];
          }
        }
      }
    }
  }

  static void setExtendedAttribute(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      UserDefinedFileAttributeView view = view(Data.PLAIN[thread]);
      view.write("bench", ByteBuffer.wrap(Data.VALUE));
    }
  }

  static void removeXAttr(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      UserDefinedFileAttributeView view = view(Data.PLAIN[thread]);
      view.write("other", ByteBuffer.wrap(Data.VALUE));
      view.delete("other");
    }
  }

  static void listXAttrs(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      sink = view(Data.directory).list();
    }
  }

  static void getXAttrs(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      UserDefinedFileAttributeView view = view(Data.FILE[thread]);
      HashMap<String, byte[]> map = new HashMap<>();
      map.put("attr00", read(view, "attr00"));
      sink = map;
    }
  }

  static void dumpXAttrs(int calls, int thread) throws IOException {
    for (int i = 0; i < calls; ++i) {
      UserDefinedFileAttributeView view = view(Data.FILE[thread]);
      HashMap<String, byte[]> map = new HashMap<>();
      for (String name : view.list()) {
        map.put(name, read(view, name));
      }
      sink = map;
    }
  }

  private static UserDefinedFileAttributeView view(String path) {
    return Files.getFileAttributeView(Paths.get(path), UserDefinedFileAttributeView.class);
  }

  private static byte[] read(UserDefinedFileAttributeView view, String name) throws IOException {
    ByteBuffer value = ByteBuffer.allocate(view.size(name));
    view.read(name, value);
    return value.array();
  }
}
