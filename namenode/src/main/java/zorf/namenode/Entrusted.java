package zorf.namenode;

import java.io.IOException;
import java.nio.file.DirectoryStream;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.SecureDirectoryStream;
import java.nio.file.attribute.BasicFileAttributes;
import java.nio.file.attribute.PosixFileAttributeView;

/**
 * Changes of files that take the superuser's rights, for callers who may ask for them. They are done to
 * the file that was found with the caller's rights and to no other, whatever is put on the way to it
 * meanwhile.
 */
final class Entrusted {
  /** What is done to a file. */
  @FunctionalInterface
  interface Change {
    void apply(PosixFileAttributeView view) throws IOException;
  }

  private final Root root;
  private final Users users;

  Entrusted(Root root, Users users) {
    this.root = root;
    this.users = users;
  }

  /**
   * Changes a file or a directory.
   *
   * @param file its path on this host, without a link at its end
   * @param entry what the caller has found there
   */
  void change(Path file, Entry entry, Change change) throws IOException {
    users.asSuperuser(
        () -> {
          if (file.equals(root.directory())) {
            change.apply(Files.getFileAttributeView(file, PosixFileAttributeView.class));
            return null;
          }
          try (DirectoryStream<Path> parent = Files.newDirectoryStream(file.getParent())) {
            PosixFileAttributeView view =
                ((SecureDirectoryStream<Path>) parent)
                    .getFileAttributeView(
                        file.getFileName(),
                        PosixFileAttributeView.class,
                        LinkOption.NOFOLLOW_LINKS);
            checkSame(view.readAttributes(), entry);
            change.apply(view);
          }
          return null;
        });
  }

  private void checkSame(BasicFileAttributes found, Entry entry) throws IOException {
    if (!root.isSame(found, entry)) {
      throw new IOException("File has been replaced meanwhile: " + entry.path());
    }
  }
}
