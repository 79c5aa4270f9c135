package zorf.namenode.soak;

import java.util.ArrayList;
import java.util.List;

/**
 * What the processes took at one moment when nobody asked.
 *
 * @param second of the run
 * @param pid of the service
 * @param calls so far
 * @param refusals of them
 * @param threads of the service, without those that act as users
 * @param userThreads those
 * @param descriptors of the service
 * @param heap KiB, what is left of it after a collection
 * @param resident KiB of the service
 * @param dataThreads threads of the DataNode
 * @param dataDescriptors descriptors of the DataNode
 * @param dataResident KiB of the DataNode
 */
record Sample(
    long second,
    long pid,
    long calls,
    long refusals,
    long threads,
    long userThreads,
    long descriptors,
    long heap,
    long resident,
    long dataThreads,
    long dataDescriptors,
    long dataResident) {
  static final String HEADER =
      "                             | the service                                              "
          + " | its DataNode\n"
          + " second      calls   refused | threads   of users   files  heap, KiB   RSS, KiB     pid"
          + " | threads files RSS, KiB";

  private static final long MORE_THREADS = 8;
  private static final long MORE_DESCRIPTORS = 16;
  private static final long MORE_HEAP = 8 << 10;
  private static final long MORE_RESIDENT = 64 << 10;
  private static final long MOST_USER_THREADS = 256;

  @Override
  public String toString() {
    return String.format(
        "%7d %,10d %,9d | %7d %10d %7d %,10d %,10d %7d | %7d %5d %,8d",
        second,
        calls,
        refusals,
        threads,
        userThreads,
        descriptors,
        heap,
        resident,
        pid,
        dataThreads,
        dataDescriptors,
        dataResident);
  }

  /** Prints how much there was of everything now and later; {@return what has grown} */
  List<String> growthUntil(Sample last) {
    System.out.printf("%-26s %12s %12s%n", "", "at " + second + " s", "at " + last.second + " s");
    List<String> grown = new ArrayList<>();
    compare("threads of the service", threads, last.threads, threads + MORE_THREADS, grown);
    compare("threads of users", userThreads, last.userThreads, MOST_USER_THREADS, grown);
    compare("descriptors", descriptors, last.descriptors, descriptors + MORE_DESCRIPTORS, grown);
    compare("heap, KiB", heap, last.heap, heap + MORE_HEAP, grown);
    compare("resident, KiB", resident, last.resident, resident + MORE_RESIDENT, grown);
    compare("DataNode: threads", dataThreads, last.dataThreads, dataThreads + MORE_THREADS, grown);
    compare(
        "DataNode: descriptors",
        dataDescriptors,
        last.dataDescriptors,
        dataDescriptors + MORE_DESCRIPTORS,
        grown);
    compare(
        "DataNode: resident, KiB",
        dataResident,
        last.dataResident,
        dataResident + MORE_RESIDENT,
        grown);
    System.out.println();
    return grown;
  }

  private static void compare(
      String what, long first, long last, long limit, List<String> grown) {
    System.out.printf("%-26s %,12d %,12d%n", what, first, last);
    if (last > limit) {
      grown.add(what + " grew from " + first + " to " + last);
    }
  }
}
