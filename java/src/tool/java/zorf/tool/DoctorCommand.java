package zorf.tool;

import java.io.IOException;
import java.net.InetSocketAddress;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.List;
import java.util.Set;
import java.util.stream.Collectors;
import org.apache.commons.logging.Log;
import org.apache.hadoop.hdfs.server.namenode.ZORFNative;
import picocli.CommandLine.Command;
import picocli.CommandLine.Option;
import zorf.tool.ProcessFacts.Capability;
import zorf.tool.ProcessFacts.Mount;

@Command(
    name = "doctor",
    description = {
      "Checks what the library needs in this place: whether it loads, which client library and"
          + " which libacl the loader took, what this process may do, and which level the logger"
          + " gives. Every remark says what to do. \"warn\" leaves the exit status alone, \"fail\""
          + " does not. With --namenode it asks an HDFS NameNode instead, as any client may:"
          + " whether it speaks Hadoop's RPC, its state, version, root directory, defaults and"
          + " space."
    },
    exitCodeList = {
      "0:all that is needed is there",
      "1:something failed",
      "2:wrong command line"
    },
    footer = {
      "  zorfhadoop doctor",
      "  zorfhadoop doctor --namenode namenode.example:8020",
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

  @Option(
      names = "--namenode",
      paramLabel = "HOST[:PORT]",
      description = "Ask the NameNode at this address, and nothing else. The port is 8020 if not given.")
  private String nameNode;

  @Override
  int run() throws IOException {
    if (nameNode != null) {
      return nameNode();
    }
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

  private int nameNode() {
    InetSocketAddress address;
    try {
      address = NameNodeCheck.address(nameNode);
    } catch (IllegalArgumentException e) {
      throw misuse(e.getMessage());
    }
    boolean good = new NameNodeCheck(this::say).run(address, System.getProperty("user.name"));
    return good ? OK : FAILED;
  }

  /** Says a verdict and its lines; from one that starts with "->" on they tell what to do. */
  private void say(String verdict, String subject, String... lines) {
    if (json) {
      String text = String.join(" ", lines).replaceAll(" +", " ");
      String[] parts = text.split(" ?-> ", 2);
      Json object = new Json().object().put("check", subject).put("verdict", verdict);
      object.put("text", parts[0]);
      Output.OUT.println((parts.length < 2 ? object : object.put("advice", parts[1])).end());
      return;
    }
    String start = String.format("%-5s %-20s ", verdict, subject);
    for (String line : lines) {
      Output.OUT.println((start + Output.printable(line)).replaceFirst(" +$", ""));
      start = String.format("%27s", "");
    }
  }

  private void fail(String subject, String... lines) {
    say("fail", subject, lines);
    result = FAILED;
  }

  private void java() {
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
      fail("library", reason, "-> " + LoadAdvice.about(library, reason));
      if (debug()) {
        e.printStackTrace(Output.ERR);
      }
      return false;
    }
    say("ok", "library", joined(ProcessFacts.mapped("libzorfhadoop.so")));
    return true;
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
      say("warn", "client library", joined(files),
          "-> it is the stand-in: block placement is made up; for zorf's own, name the",
          "   directory of its libzorf.so in LD_LIBRARY_PATH");
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
      fail("libacl", "not loaded: every ACL request will fail",
          "-> install libacl.so.1 (on Debian: apt-get install libacl1)");
    } else {
      say("ok", "libacl", joined(files));
    }
  }

  private void logger() {
    Log log = ZORFNative.LOG;
    say("ok", "logger", log.getClass().getName() + " at level " + level(log),
        "-> it is this tool's own (--debug: level debug); in a NameNode the library takes",
        "   the level that ZORFNative.LOG has when it loads: restart after a change");
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
      say("warn", "rights", "this process lacks what NameNodes have",
          "-> run as root, perhaps with a CapabilityBoundingSet= in its systemd unit; another",
          "   user may have CAP_SETUID and CAP_SETGID (AmbientCapabilities=), but none of the rest");
    }
    // The kernel takes these from a thread only when its file-system uid leaves 0.
    if (Identity.current().uid() != 0
        && (Capability.CAP_DAC_READ_SEARCH.isIn(have)
            || Capability.CAP_DAC_OVERRIDE.isIn(have)
            || Capability.CAP_FOWNER.isIn(have))) {
      fail("rights of users", "the capabilities over files stay while acting as another user,",
          "who may then do what its own rights forbid",
          "-> run as root, or without CAP_DAC_READ_SEARCH, CAP_DAC_OVERRIDE and CAP_FOWNER");
    }
  }

  private void nobody() {
    try {
      say("ok", "unknown users", "act as nobody, uid " + Names.uid("nobody"));
    } catch (Failure e) {
      say("warn", "unknown users", "act with the rights of the process itself: no user 'nobody'",
          "-> add the user nobody to the password database");
    }
  }

  private void mounts() throws IOException {
    List<Mount> mounts;
    try {
      mounts = ProcessFacts.zorfMounts();
    } catch (IOException e) {
      say("warn", "zorf mounts", "unknown: can't read /etc/mtab",
          "-> link it: ln -s /proc/self/mounts /etc/mtab");
      return;
    }
    if (mounts.isEmpty()) {
      say("warn", "zorf mounts", "none: files elsewhere can be asked about, but their data is not",
          "placed by zorf",
          "-> mount a file system of type zorf");
    }
    for (Mount mount : mounts) {
      say("ok", "zorf mount", mount.device + " on " + mount.directory);
    }
  }
}
