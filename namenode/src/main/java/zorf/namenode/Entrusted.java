package zorf.namenode;

import java.io.IOException;
import java.nio.channels.FileChannel;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.OpenOption;
import java.nio.file.Path;
import java.nio.file.SecureDirectoryStream;
import java.nio.file.StandardOpenOption;
import java.nio.file.attribute.BasicFileAttributes;
import java.nio.file.attribute.PosixFileAttributeView;
import java.util.Set;

/**
 * Changes of files that take the superuser's rights, for callers who may ask for them, and for the
 * superuser. They are done to the file that was found and to no other, whatever is put on the way to it
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
  private final boolean everybody;

  /**
   * Takes what it asks.
   *
   * @param everybody whether the service acts as everybody: else its superuser is a user like others
   */
  Entrusted(Root root, Users users, boolean everybody) {
    this.root = root;
    this.users = users;
    this.everybody = everybody;
  }

  /** {@return whether the caller may do everything, so that nobody must lead him to what is another's} */
  boolean isForSuperuser() {
    return everybody && Caller.current().superuser();
  }

  /** What is done by a path. */
  @FunctionalInterface
  interface Work {
    void at(String local) throws IOException;
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
          try (SecureDirectoryStream<Path> parent = directory(file.getParent())) {
            PosixFileAttributeView view = view(parent, file.getFileName());
            checkSame(view.readAttributes(), entry);
            change.apply(view);
          }
          return null;
        });
  }

  /**
   * Does by a path what can't be done otherwise: by one that leads to the file and is nobody's to change.
   *
   * @param file its path on this host, without a link at its end
   * @param entry what the caller has found there, a file or a directory
   */
  void work(Path file, Entry entry, Work work) throws IOException {
    users.asSuperuser(
        () -> {
          if (file.equals(root.directory())) {
            work.at(file.toString());
            return null;
          }
          try (SecureDirectoryStream<Path> parent = directory(file.getParent())) {
            checkSame(view(parent, file.getFileName()).readAttributes(), entry);
            // A FIFO is not waited for: it would have to be put there right now, by who had it changed.
            try (FileChannel open = channel(parent, file.getFileName())) {
              Path path = Descriptors.path(open);
              checkSame(Files.readAttributes(path, BasicFileAttributes.class), entry);
              at(path, file, work);
            }
          }
          return null;
        });
  }

  /**
   * Does by a path what the caller may do himself. The kernel knows what that is; the superuser may do
   * everything, and is led to no other file than the one that was found.
   */
  void asCaller(Entry entry, Work work) throws IOException {
    if (!isForSuperuser()) {
      work.at(root.local(entry.path()));
    } else if (entry.isFile() || entry.isDirectory()) {
      work(root.localPath(entry.path()), entry, work);
    } else {
      throw new IOException("what is no file can't be changed: " + entry.path());
    }
  }

  /** As {@link #work}, for what can't be opened: by its name in its directory. A link may be there by now. */
  void workUnopened(Path file, Work work) throws IOException {
    Path parent = file.getParent();
    if (parent.equals(root.directory())) {
      work.at(file.toString());
      return;
    }
    try (SecureDirectoryStream<Path> above = directory(parent.getParent());
        FileChannel open = channel(above, parent.getFileName())) {
      at(Descriptors.path(open).resolve(file.getFileName()), file, work);
    }
  }

  /** Where the superuser goes, no link is followed. What is another's to change is another's to find. */
  private SecureDirectoryStream<Path> directory(Path directory) throws IOException {
    if (!isForSuperuser()) {
      return open(directory);
    }
    SecureDirectoryStream<Path> at = open(root.directory());
    if (!directory.equals(root.directory())) {
      for (Path name : root.directory().relativize(directory)) {
        try (SecureDirectoryStream<Path> above = at) {
          at = above.newDirectoryStream(name, LinkOption.NOFOLLOW_LINKS);
        }
      }
    }
    return at;
  }

  private static SecureDirectoryStream<Path> open(Path directory) throws IOException {
    return (SecureDirectoryStream<Path>) Files.newDirectoryStream(directory);
  }

  private static PosixFileAttributeView view(SecureDirectoryStream<Path> parent, Path name) {
    return parent.getFileAttributeView(
        name, PosixFileAttributeView.class, LinkOption.NOFOLLOW_LINKS);
  }

  private static FileChannel channel(SecureDirectoryStream<Path> parent, Path name)
      throws IOException {
    Set<OpenOption> options = Set.of(StandardOpenOption.READ, LinkOption.NOFOLLOW_LINKS);
    return (FileChannel) parent.newByteChannel(name, options);
  }

  /** An exception names the file. */
  private void at(Path open, Path file, Work work) throws IOException {
    try {
      work.at(open.toString());
    } catch (AccessDeniedException e) {
      throw new AccessDeniedException(file.toString());
    } catch (FileSystemException e) {
      String reason = String.valueOf(e.getReason());
      throw new FileSystemException(
          file.toString(), null, reason.replace(open.toString(), root.remote(file.toString())));
    }
  }

  private void checkSame(BasicFileAttributes found, Entry entry) throws IOException {
    if (!root.isSame(found, entry)) {
      throw new IOException("File has been replaced meanwhile: " + entry.path());
    }
  }
}
