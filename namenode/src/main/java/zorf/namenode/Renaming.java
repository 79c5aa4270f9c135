package zorf.namenode;

import java.io.FileNotFoundException;
import java.io.IOException;
import java.nio.file.DirectoryStream;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.StandardCopyOption;
import java.util.Arrays;
import java.util.Optional;
import java.util.concurrent.locks.Lock;
import org.apache.hadoop.fs.FileAlreadyExistsException;
import org.apache.hadoop.fs.Options.Rename;
import org.apache.hadoop.fs.ParentNotDirectoryException;
import org.apache.hadoop.thirdparty.com.google.common.util.concurrent.Striped;

/** Renames files and directories. */
final class Renaming {
  private final Root root;
  private final Access access;
  private final Leases leases;
  /** By the new name: what is checked has to be so when the kernel replaces what is there. */
  private final Striped<Lock> locks = Striped.lock(1024);

  Renaming(Root root, Access access, Leases leases) {
    this.root = root;
    this.access = access;
    this.leases = leases;
  }

  /** The older way: moves into a directory that is there, and says false where it fails. */
  @ActsAs(value = ActsAs.Who.CHANGER, paths = {0, 1}, links = {0})
  boolean rename(String src, String dst) throws IOException {
    Optional<Entry> source = access.guard(src, Access.Need.DELETE, () -> root.findLink(src));
    Optional<Entry> found = access.guard(dst, Access.Need.CREATE, () -> root.find(dst));
    if (source.isEmpty() || src.equals("/")) {
      return false;
    }
    boolean into = found.isPresent() && found.get().isDirectory();
    String target = into ? Paths.child(dst, Paths.name(src)) : dst;
    if (target.equals(src)) {
      return true;
    }
    if (Paths.isBelow(target, src)) {
      return false;
    }
    return locked(
        target,
        () -> {
          Optional<Entry> parent = root.find(Paths.parent(target));
          if (parent.isEmpty() || root.findLink(target).isPresent()) {
            return false;
          }
          if (!parent.get().isDirectory()) {
            throw new ParentNotDirectoryException(parent.get().path() + " (is not a directory)");
          }
          move(src, target);
          return true;
        });
  }

  @ActsAs(value = ActsAs.Who.CHANGER, paths = {0, 1}, links = {0, 1})
  void rename2(String src, String dst, Rename... options) throws IOException {
    boolean overwrite = Arrays.asList(options).contains(Rename.OVERWRITE);
    Entry source =
        access
            .guard(src, Access.Need.DELETE, () -> root.findLink(src))
            .orElseThrow(
                () -> new FileNotFoundException("rename source " + src + " is not found."));
    access.guard(dst, Access.Need.CREATE, () -> root.find(dst));
    if (src.equals("/")) {
      throw new IOException("rename source cannot be the root");
    }
    if (dst.equals(src)) {
      throw new FileAlreadyExistsException(
          "The source " + src + " and destination " + dst + " are the same");
    }
    if (Paths.isBelow(dst, src)) {
      throw new IOException(
          "Rename destination " + dst + " is a directory or file under source " + src);
    }
    if (dst.equals("/")) {
      throw new IOException("rename destination cannot be the root");
    }
    locked(
        dst,
        () -> {
          Optional<Entry> target = root.findLink(dst);
          if (target.isPresent()) {
            checkOverwrite(source, target.get(), overwrite);
          }
          checkParent(dst);
          move(src, dst);
          return null;
        });
  }

  private void checkOverwrite(Entry source, Entry target, boolean overwrite) throws IOException {
    if (source.isDirectory() != target.isDirectory()) {
      throw new IOException(
          "Source "
              + source.path()
              + " and destination "
              + target.path()
              + " must both be directories");
    }
    if (!overwrite) {
      throw new FileAlreadyExistsException(
          "rename destination " + target.path() + " already exists");
    }
    if (target.isDirectory() && !isEmpty(target.path())) {
      throw new IOException("rename destination directory is not empty: " + target.path());
    }
  }

  private boolean isEmpty(String path) throws IOException {
    try (DirectoryStream<Path> entries = Files.newDirectoryStream(root.localPath(path))) {
      return !entries.iterator().hasNext();
    }
  }

  private void checkParent(String dst) throws IOException {
    String path = Paths.parent(dst);
    Entry parent =
        root.find(path)
            .orElseThrow(
                () ->
                    new FileNotFoundException(
                        "rename destination parent " + path + " not found."));
    if (!parent.isDirectory()) {
      throw new ParentNotDirectoryException("rename destination parent " + path + " is a file.");
    }
  }

  private void move(String src, String dst) throws IOException {
    try {
      String from = leases.isEmpty() ? src : root.withoutLinksAbove(src);
      String to = leases.isEmpty() ? dst : root.withoutLinksAbove(dst);
      Files.move(root.localPath(src), root.localPath(dst), StandardCopyOption.ATOMIC_MOVE);
      leases.moved(from, to);
    } catch (FileSystemException e) {
      if (!Access.isRefusal(e)) {
        throw e;
      }
      access.check(src, Access.Need.DELETE);
      access.check(dst, Access.Need.CREATE);
      access.check(src, Access.Need.WRITE); // a directory that goes elsewhere has its ".." changed
      throw e;
    }
  }

  private <T> T locked(String path, Access.Work<T> work) throws IOException {
    Lock lock = locks.get(path);
    lock.lock();
    try {
      return work.run();
    } finally {
      lock.unlock();
    }
  }
}
