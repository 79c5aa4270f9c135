package zorf.namenode;

import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.atomic.LongAccumulator;
import java.util.concurrent.atomic.LongAdder;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadCounts;
import org.apache.hadoop.hdfs.server.namenode.zorf.UserThreadException.Reason;
import org.apache.hadoop.hdfs.server.namenode.zorf.ZorfFiles;
import org.apache.hadoop.metrics2.MetricsCollector;
import org.apache.hadoop.metrics2.MetricsRecordBuilder;
import org.apache.hadoop.metrics2.MetricsSource;
import org.apache.hadoop.metrics2.MetricsSystem;
import org.apache.hadoop.metrics2.lib.DefaultMetricsSystem;
import org.apache.hadoop.metrics2.lib.Interns;
import org.apache.hadoop.metrics2.source.JvmMetrics;

/**
 * The process's metrics: those of Hadoop's server under the names that they have in every NameNode,
 * and those of the threads that act as users and of the natives.
 */
final class ServiceMetrics implements AutoCloseable {
  private static final String THREADS = "UserThreads";
  private static final String NATIVES = "Natives";
  private static final String ROOT = "Root";

  private final MetricsSystem system;

  /** Begins; a server that is made later adds its own metrics. */
  ServiceMetrics() {
    system = DefaultMetricsSystem.initialize("NameNode");
    JvmMetrics.create("NameNode", "", system);
    Map<String, Times> natives = new ConcurrentHashMap<>();
    system.register(NATIVES, "Natives", (MetricsSource) (to, all) -> collect(natives, to));
    ZorfFiles.observe((name, nanos) -> natives.computeIfAbsent(name, Times::new).add(nanos));
  }

  /** How often a native was called and how long that took, in all: several may read it. */
  private static final class Times {
    private final String name;
    private final LongAdder calls = new LongAdder();
    private final LongAdder nanos = new LongAdder();
    private final LongAccumulator longest = new LongAccumulator(Math::max, 0);

    Times(String name) {
      this.name = Character.toUpperCase(name.charAt(0)) + name.substring(1).replace("Native", "");
    }

    void add(long time) {
      calls.increment();
      nanos.add(time);
      longest.accumulate(time);
    }

    void addTo(MetricsRecordBuilder record) {
      record
          .addCounter(Interns.info(name + "NumOps", "Calls of " + name), calls.sum())
          .addCounter(Interns.info(name + "Nanos", "Time in all of them"), nanos.sum())
          .addGauge(Interns.info(name + "MaxNanos", "Time in the longest one"), longest.get());
    }
  }

  private static void collect(Map<String, Times> natives, MetricsCollector collector) {
    MetricsRecordBuilder record = collector.addRecord(NATIVES).setContext("zorf");
    natives.values().forEach(times -> times.addTo(record));
  }

  /** Adds what a service counts. */
  void watch(NameNode nameNode) {
    MetricsSource threads =
        (to, all) -> collect(nameNode.threadCounts(), nameNode.refusedNewcomers(), to);
    system.register(THREADS, "Threads that act as users", threads);
    MetricsSource root = (to, all) -> collect(nameNode, to);
    system.register(ROOT, "The file system that is served", root);
  }

  private static void collect(NameNode nameNode, MetricsCollector collector) {
    collector
        .addRecord(ROOT)
        .setContext("zorf")
        .addGauge(
            Interns.info("Mounted", "1, or 0 where another file system is in its place"),
            nameNode.isMounted() ? 1 : 0)
        .addCounter(
            Interns.info("LocationsLeftOut", "Locations without a host in the topology file"),
            nameNode.locationsLeftOut())
        .addCounter(
            Interns.info("NamesLeftOut", "Names in listings that are not UTF-8"),
            nameNode.namesLeftOut());
  }

  private static void collect(
      UserThreadCounts counts, long refusedNewcomers, MetricsCollector collector) {
    collector
        .addRecord(THREADS)
        .setContext("zorf")
        .addGauge(Interns.info("Threads", "Threads"), counts.threads())
        .addGauge(Interns.info("Idle", "Threads without a call"), counts.idle())
        .addGauge(Interns.info("Users", "Users with threads or waiting calls"), counts.users())
        .addGauge(Interns.info("Waiting", "Calls that wait for a thread"), counts.waiting())
        .addCounter(Interns.info("Started", "Threads started"), counts.started())
        .addCounter(Interns.info("Calls", "Calls given to a thread"), counts.handed())
        .addCounter(Interns.info("Waited", "Calls that waited for a thread"), counts.waited())
        .addCounter(
            Interns.info("WaitedMillis", "How long those waited"),
            TimeUnit.NANOSECONDS.toMillis(counts.waitedNanos()))
        .addCounter(Interns.info("AsNobody", "Reads of unknown users"), counts.asNobody())
        .addCounter(
            Interns.info("RefusedUnknownUser", "Changes of unknown users"),
            counts.refused(Reason.UNKNOWN_USER))
        .addCounter(
            Interns.info("RefusedNoIdentity", "No thread could become the user"),
            counts.refused(Reason.REFUSED))
        .addCounter(
            Interns.info("RefusedBusy", "No thread was free in time"), counts.refused(Reason.BUSY))
        .addCounter(
            Interns.info("RefusedNewcomers", "Others wait for the name service"),
            refusedNewcomers);
  }

  @Override
  public void close() {
    ZorfFiles.observe(null);
    system.unregisterSource(THREADS);
    system.unregisterSource(ROOT);
    system.unregisterSource(NATIVES);
    DefaultMetricsSystem.shutdown();
  }
}
