package zorf.namenode;

import java.io.IOException;
import java.net.InetAddress;
import java.util.concurrent.atomic.AtomicInteger;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadCounts;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreads;
import org.apache.hadoop.ipc.RetriableException;
import org.apache.hadoop.ipc.Server;
import org.apache.hadoop.security.UserGroupInformation;

/** Runs the answers to calls on threads that act as the callers. */
final class Users implements AutoCloseable {
  private final UserThreads threads;
  private final Settings settings;
  private final Newcomers newcomers;
  private final AtomicInteger running = new AtomicInteger();

  /**
   * Takes threads that act as users.
   *
   * @param threads the threads, closed with this
   * @param settings say who may do anything, and how many calls there are at a time
   */
  Users(UserThreads threads, Settings settings) {
    this.threads = threads;
    this.settings = settings;
    newcomers = new Newcomers(settings.handlers());
  }

  /** Lets a call in, before anything is asked about its user. */
  Newcomers.Pass enter() throws IOException {
    String user = remoteUser().getShortUserName();
    boolean unasked = !settings.permissions() || user.equals(settings.superuser());
    return unasked ? newcomers.known(user) : newcomers.enter(user);
  }

  private static UserGroupInformation remoteUser() throws IOException {
    UserGroupInformation user = Server.getRemoteUser();
    return user == null ? UserGroupInformation.getCurrentUser() : user;
  }

  /** {@return who asks, by the connection that the calling thread serves} */
  Caller remoteCaller() throws IOException {
    UserGroupInformation user = remoteUser();
    InetAddress address = Server.getRemoteIp();
    return new Caller(
        user.getShortUserName(),
        address == null ? null : address.getHostAddress(),
        isSuperuser(user));
  }

  private boolean isSuperuser(UserGroupInformation user) {
    return !settings.permissions()
        || user.getShortUserName().equals(settings.superuser())
        || user.getGroupsSet().contains(settings.supergroup());
  }

  /** Runs what changes nothing; a caller whom the host does not know is {@code nobody}. */
  Object read(Caller caller, Caller.Work work) throws Exception {
    running.incrementAndGet();
    try {
      return threads.<Object, Exception>read(identity(caller), () -> caller.during(work));
    } catch (InterruptedException e) {
      throw stopped();
    } finally {
      running.decrementAndGet();
    }
  }

  /** Runs what changes something. */
  Object change(Caller caller, Caller.Work work) throws Exception {
    running.incrementAndGet();
    try {
      return threads.<Object, Exception>call(identity(caller), () -> caller.during(work));
    } catch (InterruptedException e) {
      throw stopped();
    } finally {
      running.decrementAndGet();
    }
  }

  /** {@return how many calls there are that run, or wait for a thread} */
  int running() {
    return running.get();
  }

  /**
   * Runs a part of a call as the superuser, on a thread of the superuser's; what the user may do has
   * to be known by then.
   */
  Object asSuperuser(Caller.Work work) throws IOException {
    Caller caller = Caller.current();
    if (caller.superuser()) {
      return onThisThread(work);
    }
    try {
      return threads.<Object, Exception>call(settings.superuser(), () -> caller.during(work));
    } catch (InterruptedException e) {
      throw stopped();
    } catch (IOException | RuntimeException e) {
      throw e;
    } catch (Exception e) {
      throw new IOException(e);
    }
  }

  private static Object onThisThread(Caller.Work work) throws IOException {
    try {
      return work.run();
    } catch (IOException | RuntimeException e) {
      throw e;
    } catch (Exception e) {
      throw new IOException(e);
    }
  }

  private String identity(Caller caller) {
    return caller.superuser() ? settings.superuser() : caller.user();
  }

  private static IOException stopped() {
    Thread.currentThread().interrupt();
    return new RetriableException("the NameNode is being stopped");
  }

  /** {@return how many calls were told to come again, because others wait for the name service} */
  long refusedNewcomers() {
    return newcomers.refused();
  }

  /** {@return how busy the threads are} */
  UserThreadCounts threadCounts() {
    return threads.counts();
  }

  @Override
  public void close() {
    threads.close();
  }
}
