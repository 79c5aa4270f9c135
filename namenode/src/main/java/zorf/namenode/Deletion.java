package zorf.namenode;

import java.io.IOException;
import java.nio.file.DirectoryIteratorException;
import java.nio.file.DirectoryNotEmptyException;
import java.nio.file.DirectoryStream;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.NoSuchFileException;
import java.nio.file.Path;
import java.nio.file.SecureDirectoryStream;
import java.nio.file.attribute.BasicFileAttributeView;
import java.nio.file.attribute.BasicFileAttributes;
import java.util.List;
import org.apache.hadoop.fs.PathIsNotEmptyDirectoryException;
import org.apache.hadoop.fs.permission.FsAction;

/** Deletes files and trees; a link is deleted itself. */
final class Deletion {
  private static final int MAX_PASSES = 3;

  private final Root root;
  private final Access access;
  private final Leases leases;

  Deletion(Root root, Access access, Leases leases) {
    this.root = root;
    this.access = access;
    this.leases = leases;
  }

  @ActsAs(value = ActsAs.Who.CHANGER, links = {0})
  boolean delete(String src, boolean recursive) throws IOException {
    return access.guard(
        src,
        Access.Need.DELETE,
        () -> {
          List<Long> written = writtenAt(src);
          boolean deleted = remove(src, recursive);
          if (deleted) {
            written.forEach(leases::end);
          }
          return deleted;
        });
  }

  private List<Long> writtenAt(String src) throws IOException {
    if (leases.isEmpty() || src.equals("/")) {
      return List.of();
    }
    try {
      return leases.at(root.withoutLinksAbove(src));
    } catch (FileSystemException e) {
      return List.of(); // nor will it be deleted
    }
  }

  private boolean remove(String src, boolean recursive) throws IOException {
    Entry entry = root.findLink(src).orElse(null);
    if (entry == null) {
      return false;
    }
    if (src.equals("/")) {
      if (!recursive && !isEmpty(src)) {
        throw new PathIsNotEmptyDirectoryException(src + " is non empty");
      }
      return false;
    }
    Path local = root.localPath(src);
    try {
      // Who may delete an empty directory need not be able to look into it.
      return Files.deleteIfExists(local);
    } catch (DirectoryNotEmptyException e) {
      if (!recursive) {
        throw new PathIsNotEmptyDirectoryException(src + " is non empty");
      }
    }
    Identity identity = Identity.ofThread();
    if (!identity.isRoot()) {
      access.check(src, Access.Need.DELETE);
      checkTree(identity, entry);
    }
    try (DirectoryStream<Path> parent = Files.newDirectoryStream(local.getParent())) {
      remove((SecureDirectoryStream<Path>) parent, local.getFileName());
    } catch (NoSuchFileException e) {
      return false; // somebody else was quicker
    }
    return true;
  }

  private boolean isEmpty(String src) throws IOException {
    try (DirectoryStream<Path> entries = Files.newDirectoryStream(root.localPath(src))) {
      return !entries.iterator().hasNext();
    }
  }

  /** HDFS deletes a tree or, where a part of it is not the caller's to delete, nothing of it. */
  private void checkTree(Identity identity, Entry directory) throws IOException {
    boolean empty = true;
    try (DirectoryStream<Path> entries =
        Files.newDirectoryStream(root.localPath(directory.path()))) {
      for (Path local : entries) {
        if (empty) {
          access.require(identity, directory, FsAction.ALL);
          empty = false;
        }
        Entry child = root.findLink(root.remote(local.toString())).orElse(null);
        if (child != null) {
          access.requireUnstuck(identity, directory, child);
          if (child.isDirectory()) {
            checkTree(identity, child);
          }
        }
      }
    } catch (java.nio.file.AccessDeniedException e) {
      access.require(identity, directory, FsAction.ALL);
      throw e;
    } catch (DirectoryIteratorException e) {
      throw e.getCause();
    }
  }

  /** By open directories, so that nobody leads it astray with a link. */
  private void remove(SecureDirectoryStream<Path> parent, Path name) throws IOException {
    BasicFileAttributes attributes =
        parent
            .getFileAttributeView(name, BasicFileAttributeView.class, LinkOption.NOFOLLOW_LINKS)
            .readAttributes();
    if (!attributes.isDirectory()) {
      parent.deleteFile(name);
      return;
    }
    root.checkOnDevice(attributes, name);
    for (int pass = 1; ; pass++) {
      removeChildren(parent, name);
      try {
        parent.deleteDirectory(name);
        return;
      } catch (DirectoryNotEmptyException e) {
        // Somebody puts files into it, or it was not read whole because it changed under the reader.
        if (pass == MAX_PASSES) {
          throw new PathIsNotEmptyDirectoryException(name + " is non empty");
        }
      }
    }
  }

  private void removeChildren(SecureDirectoryStream<Path> parent, Path name) throws IOException {
    try (SecureDirectoryStream<Path> directory =
        parent.newDirectoryStream(name, LinkOption.NOFOLLOW_LINKS)) {
      for (Path child : directory) {
        try {
          remove(directory, child.getFileName());
        } catch (NoSuchFileException e) {
          // Gone already, which is what was wanted.
        }
      }
    } catch (DirectoryIteratorException e) {
      throw e.getCause();
    }
  }
}
