package zorf.namenode;

import java.io.IOException;
import java.nio.file.FileSystemException;
import java.nio.file.FileSystemLoopException;
import java.nio.file.Files;
import java.nio.file.LinkOption;
import java.nio.file.Path;
import java.nio.file.attribute.FileTime;
import java.util.Map;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.LockSupport;
import org.apache.hadoop.security.AccessControlException;

/**
 * Where links lead the superuser who changes something. Whoever may write in a directory can put a link
 * there to what is another's, and has it changed with rights that he has not. So only such are followed
 * as root made, or who owns what they lead to.
 */
final class TrustedLinks {
  /** As many as the kernel follows on a way. */
  private static final int MAX_FOLLOWED = 40;

  /** What changed so long ago, by any host's clock, can't change again and have the same time. */
  private static final long FRESH_MILLIS = 2000;

  /** The grain of such times is finer. */
  private static final long TICK_NANOS = TimeUnit.MILLISECONDS.toNanos(20);

  private final Root root;

  TrustedLinks(Root root) {
    this.root = root;
  }

  /**
   * A path without the links that are on it. One that leads nowhere, or out of the root, stays: it is not
   * followed.
   *
   * @param path a client's path
   * @param itself whether a link at its end is meant itself
   * @throws AccessControlException if a link is not to be trusted
   */
  String resolve(String path, boolean itself) throws IOException {
    if (path.length() == 1 || isWithoutLinks(root.localPath(path), itself)) {
      return path;
    }
    Path directory = root.directory();
    Path ahead = directory.relativize(root.localPath(path));
    Path at = directory;
    for (int i = 0; i < ahead.getNameCount(); i++) {
      Path next = at.resolve(ahead.getName(i));
      boolean end = i + 1 == ahead.getNameCount();
      try {
        at = end && itself ? next : new Walk(next).result();
      } catch (FileSystemException e) {
        at = null; // nothing is there, or no way
      }
      if (at == null || !at.startsWith(directory)) {
        Path rest = end ? next : next.resolve(ahead.subpath(i + 1, ahead.getNameCount()));
        return root.remote(rest.toString());
      }
    }
    return root.remote(at.toString());
  }

  /** Mostly so, and found out at once. */
  private static boolean isWithoutLinks(Path path, boolean itself) throws IOException {
    try {
      Path parent = path.getParent();
      return parent.toRealPath().equals(parent) && (itself || !Files.isSymbolicLink(path));
    } catch (FileSystemException e) {
      return false;
    }
  }

  /** What one component of a path leads to. */
  private final class Walk {
    private final Path result;
    private int followed;
    private String distrusted;

    Walk(Path start) throws IOException {
      result = step(start);
      if (distrusted != null && result.startsWith(root.directory())) {
        throw new AccessControlException(distrusted);
      }
    }

    Path result() {
      return result;
    }

    private Path step(Path path) throws IOException {
      Map<String, Object> found = attributes(path);
      return (boolean) found.get("isSymbolicLink") ? follow(path, found) : path;
    }

    private Path follow(Path link, Map<String, Object> found) throws IOException {
      if (++followed > MAX_FOLLOWED) {
        throw new FileSystemLoopException(link.toString());
      }
      Path text = read(link, found);
      Path at = text.isAbsolute() ? text.getRoot() : link.getParent();
      for (Path name : text) {
        String string = name.toString();
        if (string.equals("..")) {
          at = at.getParent() == null ? at : at.getParent(); // which has no link in it
        } else if (!string.isEmpty() && !string.equals(".")) {
          at = step(at.resolve(name));
        }
      }
      int owner = (int) found.get("uid");
      int ofTarget = (int) attributes(at).get("uid");
      if (owner != 0 && owner != ofTarget && distrusted == null) {
        distrusted =
            "Permission denied: user="
                + Caller.current().user()
                + ", the link \""
                + root.remote(link.toString())
                + "\" of "
                + root.files().userName(Integer.toUnsignedLong(owner))
                + " leads to what is "
                + root.files().userName(Integer.toUnsignedLong(ofTarget))
                + "'s";
      }
      return at;
    }

    /** What the link holds that was found, and not another that is in its place for a moment. */
    private Path read(Path link, Map<String, Object> found) throws IOException {
      long changed = ((FileTime) found.get("ctime")).toMillis();
      if (Math.abs(System.currentTimeMillis() - changed) < FRESH_MILLIS) {
        LockSupport.parkNanos(TICK_NANOS);
      }
      Path text = Files.readSymbolicLink(link);
      if (!attributes(link).equals(found)) { // moved away and back it has changed by a tick at least
        throw new IOException("A link has been replaced meanwhile: " + root.remote(link.toString()));
      }
      return text;
    }
  }

  private static Map<String, Object> attributes(Path path) throws IOException {
    return Files.readAttributes(
        path, "unix:uid,ino,ctime,isSymbolicLink", LinkOption.NOFOLLOW_LINKS);
  }
}
