package zorf.namenode;

import java.io.IOException;
import java.nio.file.FileSystemException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.PosixFileAttributeView;
import java.nio.file.attribute.UserPrincipalLookupService;
import java.nio.file.attribute.UserPrincipalNotFoundException;
import org.slf4j.Logger;
import org.slf4j.LoggerFactory;

/**
 * Whose files are. A new one belongs to its caller and to the group of its directory, as in HDFS; the
 * kernel gives it the caller's own group, and what the superuser makes for somebody to root.
 */
final class Ownership {
  private static final Logger LOG = LoggerFactory.getLogger(Ownership.class);

  /** Stands for an owner that stays. */
  static final long SAME = -1;

  private final Root root;
  private final Entrusted entrusted;

  Ownership(Root root, Entrusted entrusted) {
    this.root = root;
    this.entrusted = entrusted;
  }

  /** Gives a file that the calling thread has just made to whom it belongs. */
  void adopt(String path, Entry parent) throws IOException {
    Entry entry = root.findLink(path).orElse(null);
    if (entry == null) {
      return; // somebody was quick
    }
    Caller caller = Caller.current();
    long uid = caller.superuser() ? uidOf(caller.user(), entry.uid()) : entry.uid();
    if (uid == entry.uid() && parent.gid() == entry.gid()) {
      return;
    }
    try {
      give(entry, uid == entry.uid() ? SAME : uid, parent.gid());
    } catch (FileSystemException e) {
      if (!Access.isRefusal(e)) {
        throw e;
      }
      // Without CAP_CHOWN it stays as the kernel made it, which is no reason to fail.
      LOG.debug("{} keeps its group", path, e);
    }
  }

  private long uidOf(String user, long unknown) throws IOException {
    try {
      return root.files().userId(user);
    } catch (UserPrincipalNotFoundException e) {
      return unknown;
    }
  }

  /** Changes owner and group: as the user if the kernel lets it, else as the superuser. */
  void give(Entry entry, long uid, long gid) throws IOException {
    Path file = root.localPath(entry.path());
    Identity identity = Identity.ofThread();
    boolean superuser = Caller.current().superuser();
    if (!superuser && uid == SAME && identity.groups().contains(gid)) {
      Files.setAttribute(file, "unix:gid", (int) gid, LinkOption.NOFOLLOW_LINKS);
    } else if (!superuser && entry.uid() != identity.uid()) {
      LOG.debug("{} is somebody else's by now", entry.path());
    } else if (entry.isFile() || entry.isDirectory()) {
      entrusted.change(file, entry, view -> change(view, uid, gid));
    } else if (superuser) {
      entrusted.workUnopened(file, local -> changeUnopened(Path.of(local), uid, gid));
    } else {
      LOG.debug("{} keeps its group: it can't be opened to change it", entry.path());
    }
  }

  private static void changeUnopened(Path file, long uid, long gid) throws IOException {
    if (gid != SAME) {
      Files.setAttribute(file, "unix:gid", (int) gid, LinkOption.NOFOLLOW_LINKS);
    }
    if (uid != SAME) {
      Files.setAttribute(file, "unix:uid", (int) uid, LinkOption.NOFOLLOW_LINKS);
    }
  }

  private void change(PosixFileAttributeView view, long uid, long gid) throws IOException {
    UserPrincipalLookupService names = root.directory().getFileSystem().getUserPrincipalLookupService();
    if (gid != SAME) {
      view.setGroup(names.lookupPrincipalByGroupName(Long.toString(gid)));
    }
    if (uid != SAME) {
      view.setOwner(names.lookupPrincipalByName(Long.toString(uid)));
    }
  }
}
