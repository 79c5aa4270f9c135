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
 * What a Java programmer would use instead of the native of the same name, with the same arguments:
 * a path is a String at first.
 */
final class JavaLoops {
  static final Rows ROWS = new Rows();

  private static final UserPrincipalLookupService PRINCIPALS =
      FileSystems.getDefault().getUserPrincipalLookupService();
  private static final Set<PosixFilePermission> PERMISSIONS =
      PosixFilePermissions.fromString("rw-r-----");

  static volatile Object sink;

  static {
    // Of the file of getFileStatusNative: from a Path that was made before, and from a String.
    ROWS.add("posixFileAttributes", t -> sink = attributes(Data.FILE_PATH[t]));
    ROWS.add("posixFileAttributesOfString", t -> sink = attributes(Paths.get(Data.FILE[t])));
    ROWS.add("hashMapOf20", t -> sink = mapOf20());
    ROWS.add("getUser", t -> sink = Files.getOwner(Paths.get(Data.FILE[t])).getName());
    ROWS.add("getGroup", t -> sink = attributes(Paths.get(Data.FILE[t])).group().getName());
    ROWS.add("getUid", t -> sink = PRINCIPALS.lookupPrincipalByName(Data.user));
    ROWS.add("getGid", t -> sink = PRINCIPALS.lookupPrincipalByGroupName(Data.group));
    ROWS.add(
        "getFileStatusNative",
        t -> sink = Files.readAttributes(Paths.get(Data.FILE[t]), "unix:*"));
    ROWS.add("getINum", t -> sink = Files.getAttribute(Paths.get(Data.FILE[t]), "unix:ino"));
    ROWS.add("getLinkTargetNative", t -> sink = Files.readSymbolicLink(Paths.get(Data.link)));
    ROWS.add("setPermission", t -> setPermissions(Paths.get(Data.modeFile)));
    ROWS.add("getFsName", t -> readMounts());
    ROWS.add("setExtendedAttribute", t -> setAttribute(view(Data.PLAIN[t]), "bench"));
    ROWS.add(
        "removeXAttr",
        t -> {
          UserDefinedFileAttributeView view = view(Data.PLAIN[t]);
          setAttribute(view, "other");
          view.delete("other");
        });
    ROWS.add("listXAttrs", t -> sink = view(Data.directory).list());
    ROWS.add("getXAttrs", t -> sink = read(view(Data.FILE[t]), "attr00"));
    ROWS.add(
        "dumpXAttrs",
        t -> {
          UserDefinedFileAttributeView view = view(Data.FILE[t]);
          sink = read(view, view.list().toArray(new String[0]));
        });
  }

  private JavaLoops() {}

  private static PosixFileAttributes attributes(Path path) throws IOException {
    return Files.readAttributes(path, PosixFileAttributes.class);
  }

  private static void setPermissions(Path path) throws IOException {
    Files.getFileAttributeView(path, PosixFileAttributeView.class).setPermissions(PERMISSIONS);
  }

  /** As many puts of as large values as {@code dumpXAttrs} makes, all made in Java. */
  private static HashMap<String, byte[]> mapOf20() {
    HashMap<String, byte[]> map = new HashMap<>();
    for (byte[] name : Data.NAMES) {
      map.put(new String(name, StandardCharsets.UTF_8), Data.VALUE.clone());
    }
    return map;
  }

  private static void readMounts() throws IOException {
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

  private static UserDefinedFileAttributeView view(String path) {
    return Files.getFileAttributeView(Paths.get(path), UserDefinedFileAttributeView.class);
  }

  private static void setAttribute(UserDefinedFileAttributeView view, String name)
      throws IOException {
    view.write(name, ByteBuffer.wrap(Data.VALUE));
  }

  private static HashMap<String, byte[]> read(UserDefinedFileAttributeView view, String... names)
      throws IOException {
    HashMap<String, byte[]> map = new HashMap<>();
    for (String name : names) {
      ByteBuffer value = ByteBuffer.allocate(view.size(name));
      view.read(name, value);
      map.put(name, value.array());
    }
    return map;
  }
}
