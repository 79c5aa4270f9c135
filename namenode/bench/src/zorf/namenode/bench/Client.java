package zorf.namenode.bench;

import java.io.IOException;
import java.net.URI;
import java.util.ArrayList;
import java.util.List;
import java.util.Random;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.permission.FsPermission;
import org.apache.hadoop.hdfs.NameNodeProxiesClient;
import org.apache.hadoop.hdfs.protocol.ClientProtocol;
import org.apache.hadoop.hdfs.protocol.HdfsFileStatus;
import org.apache.hadoop.security.UserGroupInformation;

/** One who asks a NameNode about the files below {@link #TREE}, with a connection of its own for each user. */
final class Client {
  static final String TREE = "/mix";
  static final String HOMES = "/users";
  static final int DIRECTORIES = 20;
  static final int FILES = 1000;

  private static final AtomicInteger NUMBERS = new AtomicInteger();

  /** What a client asks, a call each time. */
  interface Question {
    void ask(Client client) throws IOException;
  }

  private final List<ClientProtocol> connections = new ArrayList<>();
  private final List<String> users;
  private final Random random;
  private final String name;
  private ClientProtocol nameNode;
  private int turn;
  private int step;
  private int files;
  private ClientProtocol changer;
  private String file;

  Client(Configuration configuration, URI uri, List<String> users) throws Exception {
    this.users = users;
    int number = NUMBERS.getAndIncrement();
    random = new Random(number);
    name = "client" + number;
    for (String user : users) {
      connections.add(connect(configuration, uri, user));
    }
    nameNode = connections.get(0);
  }

  static ClientProtocol connect(Configuration configuration, URI uri, String user)
      throws Exception {
    return UserGroupInformation.createRemoteUser(user)
        .doAs(
            (java.security.PrivilegedExceptionAction<ClientProtocol>)
                () ->
                    NameNodeProxiesClient.createProxyWithClientProtocol(configuration, uri, null)
                        .getProxy());
  }

  /** Asks one question, as the next of its users. */
  void ask(Question question) throws IOException {
    turn = (turn + 1) % connections.size();
    nameNode = connections.get(turn);
    question.ask(this);
  }

  private String directory() {
    return TREE + "/d" + random.nextInt(DIRECTORIES);
  }

  void fileInfo() throws IOException {
    require(nameNode.getFileInfo(directory() + "/f" + random.nextInt(FILES)) != null);
  }

  void locations() throws IOException {
    String path = directory() + "/f" + random.nextInt(FILES);
    require(nameNode.getBlockLocations(path, 0, Long.MAX_VALUE) != null);
  }

  void listing() throws IOException {
    int entries =
        nameNode.getListing(directory(), HdfsFileStatus.EMPTY_NAME, false).getPartialListing().length;
    require(entries == FILES);
  }

  /** What a busy cluster asks. */
  void mix() throws IOException {
    int percent = random.nextInt(100);
    if (percent < 80) {
      fileInfo();
    } else if (percent < 90) {
      locations();
    } else if (percent < 95) {
      listing();
    } else {
      change();
    }
  }

  /** The next step in the life of a file: each begins with one of its user's. */
  void change() throws IOException {
    switch (step) {
      case 0 -> {
        changer = nameNode;
        file = HOMES + "/" + users.get(turn) + "/" + name + "-" + files++;
        Tree.create(changer, file);
      }
      case 1 -> Tree.complete(changer, file);
      case 2 -> changer.setPermission(file, new FsPermission((short) 0600));
      case 3 -> {
        require(rename(file + "-renamed"));
        file += "-renamed";
      }
      default -> require(changer.delete(file, false));
    }
    step = (step + 1) % 5;
  }

  @SuppressWarnings("deprecation") // as clients call it that don't overwrite
  private boolean rename(String target) throws IOException {
    return changer.rename(file, target);
  }

  /** Ends the life of the file that it is at. */
  void tidyUp() throws IOException {
    while (step != 0) {
      change();
    }
  }

  private static void require(boolean right) throws IOException {
    if (!right) {
      throw new IOException("a wrong answer");
    }
  }
}
