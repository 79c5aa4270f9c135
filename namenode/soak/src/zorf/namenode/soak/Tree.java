package zorf.namenode.soak;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileVisitResult;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.SimpleFileVisitor;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.ArrayList;
import java.util.List;

/** The directory that is served: what every user finds there, and whose files are there in the end. */
final class Tree {
  private static final int FIRST_UID = 60_000;

  private final Path root;

  /** Makes it: each user's home, with what is the user's alone, and what everybody may see. */
  Tree(Path root, int users) throws IOException {
    this.root = root;
    directory(root, 0755, 0);
    directory(root.resolve("public"), 01777, 0);
    file(root.resolve("public/f"), 0644, 0);
    directory(root.resolve("home"), 0755, 0);
    for (int i = 1; i <= users; i++) {
      Path home = root.resolve("home").resolve("u" + i);
      directory(home, 0755, FIRST_UID + i);
      file(home.resolve("open"), 0644, FIRST_UID + i);
      directory(home.resolve("private"), 0700, FIRST_UID + i);
      file(home.resolve("private/f"), 0600, FIRST_UID + i);
      directory(home.resolve("shared"), 0700, FIRST_UID + i);
      file(home.resolve("shared/f"), 0600, FIRST_UID + i);
    }
  }

  Path root() {
    return root;
  }

  private static void directory(Path path, int mode, int owner) throws IOException {
    Files.createDirectory(path);
    give(path, mode, owner);
  }

  private static void file(Path path, int mode, int owner) throws IOException {
    Files.writeString(path, path.toString());
    Files.setAttribute(path, "user:secret", path.toString().getBytes(StandardCharsets.UTF_8));
    give(path, mode, owner);
  }

  private static void give(Path path, int mode, int owner) throws IOException {
    Files.setAttribute(path, "unix:uid", owner);
    Files.setAttribute(path, "unix:gid", owner);
    Files.setAttribute(path, "unix:mode", mode);
  }

  /** {@return what is wrong: files in a home that are not of its user, and changed ones that are private} */
  List<String> faults() throws IOException {
    List<String> faults = new ArrayList<>();
    Files.walkFileTree(
        root,
        new SimpleFileVisitor<>() {
          @Override
          public FileVisitResult preVisitDirectory(Path path, BasicFileAttributes attributes)
              throws IOException {
            return visitFile(path, attributes);
          }

          @Override
          public FileVisitResult visitFile(Path path, BasicFileAttributes attributes)
              throws IOException {
            check(path, faults);
            return FileVisitResult.CONTINUE;
          }
        });
    return faults;
  }

  private void check(Path path, List<String> faults) throws IOException {
    Path name = root.relativize(path);
    boolean ofUser = name.getNameCount() > 1 && name.startsWith("home");
    int expected = ofUser ? FIRST_UID + Integer.parseInt(name.getName(1).toString().substring(1)) : 0;
    int owner = (int) Files.getAttribute(path, "unix:uid", LinkOption.NOFOLLOW_LINKS);
    if (owner != expected) {
      faults.add(name + " belongs to " + owner + " instead of " + expected);
    }
    boolean made = name.getNameCount() > 2 && name.getName(2).toString().equals("work");
    if (!made && Files.isRegularFile(path) && !Files.readString(path).equals(path.toString())) {
      faults.add(name + " was written to");
    }
  }
}
