package zorf.soak;

import java.io.IOException;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.ArrayList;
import java.util.Arrays;
import java.util.Collection;
import java.util.Collections;
import java.util.HashSet;
import java.util.List;
import java.util.Random;
import java.util.Set;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclEntry;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclFormat;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclScope;
import org.apache.hadoop.hdfs.server.namenode.zorf.AclTag;
import org.apache.hadoop.hdfs.server.namenode.zorf.LocatedFileStatus;
import org.apache.hadoop.hdfs.server.namenode.zorf.StatusLayout;

/** The access ACL of one thread's own file and the default ACL of its own directory. */
final class AclChecks implements Checks {
  private final Random random;
  private final StatusLayout layout = new StatusLayout(Natives.getFileStatusFormatNative());
  private final Actor owner;
  private final String file;
  private final String directory;
  private final AclModel fileAcl = AclModel.ofMode(0640);
  private final AclModel directoryAcl = AclModel.ofMode(0751);
  private final AclModel defaultAcl = new AclModel();

  AclChecks(Path place, Actor owner, Random random) throws IOException {
    this.random = random;
    this.owner = owner;
    Path path = Files.createFile(place.resolve("acl"));
    FileChecks.give(path, owner, 0640);
    file = path.toString();
    path = Files.createDirectory(place.resolve("acls"));
    FileChecks.give(path, owner, 0751);
    directory = path.toString();
  }

  @Override
  public void check(Actor actor) throws Exception {
    boolean isFile = random.nextBoolean();
    String path = isFile ? file : directory;
    AclModel acl = isFile ? fileAcl : defaultAcl;
    switch (random.nextInt(8)) {
      case 0:
      case 1:
        checkReport(path);
        break;
      case 2:
        checkFlag();
        break;
      case 3:
        set(actor, path, acl);
        break;
      case 4:
        modify(actor, path, acl);
        break;
      case 5:
        removeEntries(actor, path, acl);
        break;
      case 6:
        removeDefault(actor, isFile);
        break;
      default:
        removeAll(actor, isFile);
        break;
    }
  }

  private void checkReport(String path) {
    byte[] record = random.nextBoolean() ? null : Natives.getFileStatusNative(path, true);
    List<AclEntry> report = AclFormat.decodeReport(Natives.getAclStatus(path, record));
    Set<AclEntry> expected = new HashSet<>();
    if (path.equals(file)) {
      expected.addAll(fileAcl.entries());
    } else {
      expected.addAll(directoryAcl.entries());
      expected.addAll(defaultAcl.entries());
    }
    Expect.equal("entries of " + path + " " + report, expected.size(), report.size());
    Expect.equal("ACL of " + path, expected, new HashSet<>(report));
  }

  private void checkFlag() {
    byte[] bytes = Natives.getLocatedFileStatusNative(file, true, false, true);
    LocatedFileStatus located = LocatedFileStatus.decode(layout, bytes, true);
    Expect.equal("mode of " + file, 0100000 | fileAcl.mode(), located.status().mode());
    boolean extended = fileAcl.has(AclTag.MASK);
    Expect.equal("ACL flag of " + file, extended, located.hasAcl());
    bytes = Natives.getLocatedFileStatusNative(directory, false, true, true);
    located = LocatedFileStatus.decode(layout, bytes, true);
    Expect.equal("ACL flag of " + directory, !defaultAcl.isEmpty(), located.hasAcl());
  }

  private AclScope scopeOf(String path) {
    return path.equals(file) ? AclScope.ACCESS : AclScope.DEFAULT;
  }

  private List<AclEntry> anyNamed(AclScope scope) {
    List<AclEntry> entries = new ArrayList<>();
    for (int i = 0; i < Actor.USERS; i++) {
      if (random.nextInt(4) == 0) {
        entries.add(AclEntry.of(scope, AclTag.USER, Actor.user(i).uid, random.nextInt(8)));
      }
      if (random.nextInt(4) == 0) {
        entries.add(AclEntry.of(scope, AclTag.GROUP, 62000L + i, random.nextInt(8)));
      }
    }
    return entries;
  }

  /** Whatever follows from a specification is in it: what the rules complete, C++ tests compare. */
  private List<AclEntry> anySpecification(AclScope scope, boolean base, boolean mask) {
    List<AclEntry> entries = anyNamed(scope);
    if (mask || !entries.isEmpty()) {
      entries.add(AclEntry.of(scope, AclTag.MASK, random.nextInt(8)));
    }
    if (base) {
      entries.add(AclEntry.of(scope, AclTag.USER_OBJ, 6 | random.nextInt(2)));
      entries.add(AclEntry.of(scope, AclTag.GROUP_OBJ, random.nextInt(8)));
      entries.add(AclEntry.of(scope, AclTag.OTHER, random.nextInt(8)));
    }
    Collections.shuffle(entries, random);
    return entries;
  }

  private static byte[] encoded(Collection<AclEntry> entries) {
    return AclFormat.encodeSpecification(entries);
  }

  /** Runs a change, or sees it refused to those who do not own the path. */
  private boolean changes(Actor actor, String path, Runnable call) throws Exception {
    if (!actor.mayChange(owner)) {
      Expect.notPermitted(path, Expect.doing(call));
      return false;
    }
    call.run();
    return true;
  }

  private void set(Actor actor, String path, AclModel acl) throws Exception {
    List<AclEntry> entries = anySpecification(scopeOf(path), true, false);
    if (changes(actor, path, () -> Natives.setAcl(path, encoded(entries)))) {
      acl.clear();
      entries.forEach(acl::put);
    }
    Natives.setAcl(path, encoded(Collections.emptyList()));
    checkReport(path);
  }

  private void modify(Actor actor, String path, AclModel acl) throws Exception {
    boolean base = acl.isEmpty() || random.nextBoolean();
    List<AclEntry> entries = anySpecification(scopeOf(path), base, true);
    if (changes(actor, path, () -> Natives.modifyAclEntries(path, encoded(entries)))) {
      entries.forEach(acl::put);
    }
    checkReport(path);
  }

  private void removeEntries(Actor actor, String path, AclModel acl) throws Exception {
    AclScope scope = scopeOf(path);
    if (!acl.isEmpty() && !acl.named().isEmpty() && random.nextInt(4) == 0) {
      // Named entries can't do without a mask.
      byte[] mask = encoded(Arrays.asList(AclEntry.of(scope, AclTag.MASK, 0)));
      try {
        Natives.removeAclEntries(path, mask);
      } catch (Exception e) {
        Expect.equal("class of " + e, IOException.class, e.getClass());
        String start = "Invalid argument: " + path + ": Malformed access ACL \"user::";
        Expect.that(e.getMessage().startsWith(start), e.getMessage());
        return;
      }
      throw new AssertionError("the mask of " + path + " could be removed");
    }
    List<AclEntry> entries = new ArrayList<>(acl.named());
    Collections.shuffle(entries, random);
    entries = new ArrayList<>(entries.subList(0, random.nextInt(entries.size() + 1)));
    entries.add(AclEntry.of(scope, AclTag.USER, 4711, 7)); // is not there
    byte[] specification = encoded(entries);
    if (changes(actor, path, () -> Natives.removeAclEntries(path, specification))) {
      entries.forEach(acl::remove);
    }
    checkReport(path);
  }

  private void removeDefault(Actor actor, boolean isFile) throws Exception {
    if (isFile) {
      Natives.removeDefaultAcl(directory, false);
      Natives.removeDefaultAcl(file, false);
    } else if (changes(actor, directory, () -> Natives.removeDefaultAcl(directory, true))) {
      defaultAcl.clear();
    }
    checkReport(directory);
  }

  private void removeAll(Actor actor, boolean isFile) throws Exception {
    if (isFile) {
      if (changes(actor, file, () -> Natives.removeAcl(file, false))) {
        fileAcl.removeExtended();
      }
      checkReport(file);
    } else {
      if (changes(actor, directory, () -> Natives.removeAcl(directory, true))) {
        defaultAcl.clear();
      }
      checkReport(directory);
    }
  }
}
