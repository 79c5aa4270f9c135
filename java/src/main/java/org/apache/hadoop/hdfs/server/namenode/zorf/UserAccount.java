package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.io.ByteArrayOutputStream;
import java.io.File;
import java.io.FileInputStream;
import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.FileSystems;
import java.nio.file.attribute.UserPrincipalNotFoundException;
import java.util.ArrayList;
import java.util.Collections;
import java.util.List;
import java.util.Set;
import java.util.TreeSet;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;

/**
 * The ids of a user as the name service gives them, found another way than the native that switches
 * finds them: the groups are those that id(1) prints.
 */
final class UserAccount {
  /** Whom unknown users read as. */
  static final String NOBODY = "nobody";

  private static final String ID_COMMAND =
      new File("/usr/bin/id").canExecute() ? "/usr/bin/id" : "/bin/id";

  private static final int DESCRIPTORS_OF_A_PROCESS = 16;

  private final long uid;
  private final long gid;
  private final Set<Long> groups;

  private UserAccount(long uid, String[] gids) {
    this.uid = uid;
    this.gid = Long.parseLong(gids[0]); // id(1) prints the primary group first
    TreeSet<Long> ids = new TreeSet<>();
    for (String group : gids) {
      ids.add(Long.parseLong(group));
    }
    groups = Collections.unmodifiableSet(ids);
  }

  /**
   * Asks the name service. Starts a process: never to be called by a thread that acts as a user.
   *
   * @throws UserThreadException if the name service says that there is no such user
   * @throws IOException if it fails
   */
  static UserAccount lookUp(String user) throws IOException, InterruptedException {
    long uid;
    try {
      uid = Integer.toUnsignedLong(ZORFNative.getUid(user));
    } catch (Exception e) { // an IOException that the native does not declare
      throw isUnknown(user)
          ? UserThreadException.unknownUser(user)
          : new IOException("the name service does not know it, and then does", e);
    }
    return new UserAccount(uid, gidsOf(user));
  }

  /**
   * Whether it is the user that is missing and not the name service, for which the native fails
   * alike and Java does not. What the C library itself takes for a missing user stays one.
   */
  private static boolean isUnknown(String user) throws IOException {
    try {
      FileSystems.getDefault().getUserPrincipalLookupService().lookupPrincipalByName(user);
      return user.matches("[-+]?[0-9]+"); // which Java then takes for an id
    } catch (UserPrincipalNotFoundException e) {
      return true;
    } catch (IOException e) {
      throw new IOException("the name service fails", e);
    }
  }

  /**
   * Fails where few descriptors are free. Java 17, when it can't make the last of the pipes to a
   * process, closes descriptors that it never opened, and keeps two that it did.
   */
  private static void requireDescriptors() throws IOException {
    List<InputStream> opened = new ArrayList<>();
    try {
      for (int i = 0; i < DESCRIPTORS_OF_A_PROCESS; i++) {
        opened.add(new FileInputStream("/dev/null"));
      }
    } finally {
      for (InputStream in : opened) {
        in.close();
      }
    }
  }

  private static String[] gidsOf(String user) throws IOException, InterruptedException {
    requireDescriptors();
    Process process =
        new ProcessBuilder(ID_COMMAND, "-G", "--", user).redirectErrorStream(true).start();
    process.getOutputStream().close();
    ByteArrayOutputStream bytes = new ByteArrayOutputStream();
    try (InputStream out = process.getInputStream()) {
      byte[] buffer = new byte[1024];
      for (int length = out.read(buffer); length > 0; length = out.read(buffer)) {
        bytes.write(buffer, 0, length);
      }
    }
    int status = process.waitFor();
    String text = new String(bytes.toByteArray(), StandardCharsets.ISO_8859_1).trim();
    if (status != 0 || !text.matches("[0-9]+( [0-9]+)*")) {
      throw new IOException(
          ID_COMMAND + " -G -- " + user + " ended with " + status + ": " + text);
    }
    return text.split(" ");
  }

  long uid() {
    return uid;
  }

  /** The primary group. */
  long gid() {
    return gid;
  }

  /** All groups, the primary one too. */
  Set<Long> groups() {
    return groups;
  }

  @Override
  public String toString() {
    return "fsuid " + uid + " fsgid " + gid + " groups " + groups;
  }
}
