package zorf.tool;

import java.io.IOException;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import org.apache.commons.logging.Log;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import picocli.CommandLine.Command;
import zorf.tool.ProcessFacts.Capability;
import zorf.tool.ProcessFacts.Mount;

@Command(
    name = "doctor",
    description = {
      "Checks what the library needs in this place: whether it loads, which client library and"
          + " which libacl the loader took, what this process may do, and which level the logger"
          + " gives. Every remark says what to do. \"warn\" leaves the exit status alone, \"fail\""
          + " does not."
    },
    exitCodeList = {
      "0:all that is needed is there",
      "1:something failed",
      "2:wrong command line"
    },
    footer = {
      "  zorfhadoop doctor",
      "  LD_LIBRARY_PATH=/opt/zorf/lib zorfhadoop doctor      with another client library",
      "  setpriv --reuid=hdfs --clear-groups zorfhadoop doctor",
    })
final class DoctorCommand extends ToolCommand {
  /** Whoever needs it, and what is missing without it. */
  private static final Object[][] RIGHTS = {
    {Capability.CAP_SETUID, "acting as the requesting user (--as) fails without it"},
    {Capability.CAP_SETGID, "acting with the groups of the requesting user fails without it"},
    {
      Capability.CAP_DAC_READ_SEARCH,
      "block locations of files that this process may not read fail without it"
    },
    {
      Capability.CAP_DAC_OVERRIDE,
      "replication and block group factor of files that this process may not write can't be set"
          + " without it"
    },
    {Capability.CAP_FOWNER, "mode and ACL of other users' files can't be changed without it"},
    {Capability.CAP_SYS_ADMIN, "extended attributes named trusted.* are out of reach without it"},
  };

  private int result = OK;

  @Override
  int run() throws IOException {
    java();
    boolean loaded = load();
    if (loaded) {
      clientLibrary();
      libacl();
      logger();
    }
    rights();
    if (loaded) {
      nobody();
    }
    mounts();
    return result;
  }

  private static void say(String verdict, String subject, String text) {
    Output.OUT.println(
        String.format("%-5s %-20s %s", verdict, subject, Output.printable(text))
            .replaceFirst(" +$", ""));
  }

  private void fail(String subject, String text) {
    say("fail", subject, text);
    result = FAILED;
  }

  private static void java() {
    say(
        "ok",
        "Java",
        System.getProperty("java.version") + " in " + System.getProperty("java.home"));
  }

  private boolean load() throws IOException {
    String library = System.getProperty("zorf.library");
    try {
      Class.forName(ZORFNative.class.getName());
    } catch (ClassNotFoundException | LinkageError e) {
      String reason = Library.reason(e);
      fail("library", reason);
      say("", "", adviceFor(library, reason));
      if (debug()) {
        e.printStackTrace(Output.ERR);
      }
      return false;
    }
    say("ok", "library", joined(ProcessFacts.mapped("libzorfhadoop.so")));
    return true;
  }

  private static String adviceFor(String library, String reason) {
    if (library != null && !Files.exists(Paths.get(library))) {
      return "-> name the file in ZORFHADOOP_LIBRARY; there is none at " + library;
    }
    if (reason.contains("libzorf.so")) {
      return "-> install the client library libzorf.so, or name its directory in LD_LIBRARY_PATH";
    }
    return "-> see what is missing: ldd " + (library == null ? "libzorfhadoop.so" : library);
  }

  private static String joined(Set<Path> files) {
    return files.stream().map(Path::toString).collect(Collectors.joining(", "));
  }

  private void clientLibrary() throws IOException {
    Set<Path> files = ProcessFacts.mapped("libzorf.so");
    if (files.isEmpty()) {
      fail("client library", "the loader took no file named libzorf.so");
      return;
    }
    boolean standin = false;
    for (Path file : files) {
      standin |= isStandin(file);
    }
    if (standin) {
      say("warn", "client library", joined(files));
      say("", "", "-> it is the stand-in: block placement is made up; for zorf's own, name the");
      say("", "", "   directory of its libzorf.so in LD_LIBRARY_PATH");
    } else {
      say("ok", "client library", joined(files));
    }
  }

  /** The stand-in has the name of the variable in it that describes its racks. */
  private static boolean isStandin(Path file) {
    try {
      String bytes = new String(Files.readAllBytes(file), StandardCharsets.ISO_8859_1);
      return bytes.contains("ZORF_TOPOLOGY");
    } catch (IOException e) {
      return false;
    }
  }

  private void libacl() throws IOException {
    Set<Path> files = ProcessFacts.mapped("libacl.so");
    if (files.isEmpty()) {
      fail("libacl", "not loaded: every ACL request will fail");
      say("", "", "-> install libacl.so.1 (on Debian: apt-get install libacl1)");
    } else {
      say("ok", "libacl", joined(files));
    }
  }

  private static void logger() {
    Log log = ZORFNative.LOG;
    say("ok", "logger", log.getClass().getName() + " at level " + level(log));
    say("", "", "-> it is this tool's own (--debug: level debug); in a NameNode the library takes");
    say("", "", "   the level that ZORFNative.LOG has when it loads: restart after a change");
  }

  private static String level(Log log) {
    return log.isTraceEnabled()
        ? "trace"
        : log.isDebugEnabled()
            ? "debug"
            : log.isInfoEnabled()
                ? "info"
                : log.isWarnEnabled()
                    ? "warn"
                    : log.isErrorEnabled() ? "error" : log.isFatalEnabled() ? "fatal" : "off";
  }

  private void rights() throws IOException {
    long have = ProcessFacts.capabilities();
    say("ok", "acting as", "uid " + Identity.current().uid() + " on the file system");
    for (Object[] right : RIGHTS) {
      Capability capability = (Capability) right[0];
      boolean there = capability.isIn(have);
      // Who may override may also read.
      there |=
          capability == Capability.CAP_DAC_READ_SEARCH && Capability.CAP_DAC_OVERRIDE.isIn(have);
      say(there ? "ok" : "warn", capability.name(), there ? "" : "missing: " + right[1]);
    }
    if (!Capability.CAP_SETUID.isIn(have)) {
      say("", "", "-> run as root, perhaps with a CapabilityBoundingSet= in its systemd unit; another");
      say("", "", "   user may have CAP_SETUID and CAP_SETGID (AmbientCapabilities=), but none of the rest");
    }
    // The kernel takes these from a thread only when its file-system uid leaves 0.
    if (Identity.current().uid() != 0
        && (Capability.CAP_DAC_READ_SEARCH.isIn(have)
            || Capability.CAP_DAC_OVERRIDE.isIn(have)
            || Capability.CAP_FOWNER.isIn(have))) {
      fail("rights of users", "the capabilities over files stay while acting as another user,");
      say("", "", "who may then do what its own rights forbid");
      say("", "", "-> run as root, or without CAP_DAC_READ_SEARCH, CAP_DAC_OVERRIDE and CAP_FOWNER");
    }
  }

  private static void nobody() {
    try {
      say("ok", "unknown users", "act as nobody, uid " + Names.uid("nobody"));
    } catch (Failure e) {
      say("warn", "unknown users", "act with the rights of the process itself: no user 'nobody'");
      say("", "", "-> add the user nobody to the password database");
    }
  }

  private static void mounts() throws IOException {
    List<Mount> mounts;
    try {
      mounts = ProcessFacts.zorfMounts();
    } catch (IOException e) {
      say("warn", "zorf mounts", "unknown: can't read /etc/mtab");
      say("", "", "-> link it: ln -s /proc/self/mounts /etc/mtab");
      return;
    }
    if (mounts.isEmpty()) {
      say("warn", "zorf mounts", "none: files elsewhere can be asked about, but their data is not");
      say("", "", "   placed by zorf");
      say("", "", "-> mount a file system of type zorf");
    }
    for (Mount mount : mounts) {
      say("ok", "zorf mount", mount.device + " on " + mount.directory);
    }
  }
}
