package zorf.soak;

import java.nio.file.Path;
import java.nio.file.Paths;
import java.util.ArrayList;
import java.util.List;
import java.util.Map;
import java.util.Random;
import java.util.concurrent.CountDownLatch;
import java.util.concurrent.TimeUnit;
import java.util.concurrent.locks.ReadWriteLock;
import java.util.concurrent.locks.ReentrantReadWriteLock;
import java.util.function.ToLongFunction;

/**
 * All natives at once, for as long as the first argument says: many threads, each with files of its
 * own and some in common, act as many users and check every answer. The process must hold at the
 * end what it held after warming up. Needs root and the users and mounts of run_soak.sh.
 */
public final class Soak {
  /** Other users could not reach a directory below one that only root may enter. */
  private static final Path PLACE = Paths.get("/mnt");

  private static final double WARM_UP = 0.4;
  private static final int SAMPLES = 10;

  /**
   * What may come on top between the first and the last samples. All threads of the program rest
   * while a sample is taken, so that no descriptor may be open that was not before. The virtual
   * machine's compilers do not rest: each compilation may hold a few global references. Memory in
   * use is exact but for what they allocate while it is looked at. Resident memory is coarse: it
   * has their working memory in it.
   */
  private static final long DESCRIPTORS_TOLERANCE = 0;

  private static final long GLOBAL_REFERENCES_TOLERANCE = 16;
  private static final long NATIVE_TOLERANCE = 64 << 10;
  private static final long JNI_TOLERANCE = 64 << 10;
  private static final long RESIDENT_TOLERANCE = 64 << 20;

  private static final CountDownLatch STOP = new CountDownLatch(1);

  private Soak() {}

  static boolean stopping() {
    return STOP.getCount() == 0;
  }

  static void stop() {
    STOP.countDown();
  }

  /**
   * Runs; the exit status is 0 if all answers were right and nothing has grown.
   *
   * @param arguments the duration in seconds, for which the environment variable ZORF_SOAK_SECONDS
   *     stands in, and, if wished, the seed of the random numbers and the number of threads
   */
  public static void main(String[] arguments) {
    boolean passed = false;
    try {
      String wished = System.getenv("ZORF_SOAK_SECONDS");
      double seconds = Double.parseDouble(wished == null ? arguments[0] : wished);
      long seed = arguments.length > 1 ? Long.parseLong(arguments[1]) : System.nanoTime();
      int threads = arguments.length > 2 ? Integer.parseInt(arguments[2]) : 32;
      System.out.printf("%d threads, %.0f s, seed %d%n", threads, seconds, seed);
      passed = run(seconds, new Random(seed), threads);
    } catch (Throwable e) {
      e.printStackTrace(System.out);
    }
    System.out.println(passed ? "passed" : "FAILED");
    System.exit(passed ? 0 : 1);
  }

  private static boolean run(double seconds, Random random, int count) throws Exception {
    System.load(System.getProperty("zorf.soak.probe"));
    ReadWriteLock pause = new ReentrantReadWriteLock(true);
    SharedFiles shared = new SharedFiles(PLACE.resolve("shared"), random);
    Watcher watcher = new Watcher(pause);
    List<Worker> workers = new ArrayList<>();
    List<Thread> threads = new ArrayList<>();
    threads.add(new Thread(watcher, "watcher"));
    for (int i = 0; i < count; i++) {
      Path directory = PLACE.resolve("of" + i);
      workers.add(
          new Worker(i, directory, shared, pause, watcher, new Random(random.nextLong())));
      threads.add(new Thread(workers.get(i), "worker " + i));
    }
    threads.forEach(Thread::start);
    List<Meter.Sample> samples = sample(seconds, pause);
    stop();
    boolean passed = true;
    for (Thread thread : threads) {
      thread.join();
    }
    for (Worker worker : workers) {
      passed &= report(worker.failure);
    }
    passed &= report(watcher.failure);
    System.out.println(watcher + "; " + SoakLog.lines() + " log lines");
    passed &= allCalled();
    return passed & flat(samples);
  }

  private static List<Meter.Sample> sample(double seconds, ReadWriteLock pause) throws Exception {
    List<Meter.Sample> samples = new ArrayList<>();
    long start = System.nanoTime();
    for (int i = 0; i <= SAMPLES; i++) {
      double due = seconds * (WARM_UP + (1 - WARM_UP) * i / SAMPLES);
      long wait = start + (long) (due * 1e9) - System.nanoTime();
      if (STOP.await(Math.max(0, wait), TimeUnit.NANOSECONDS)) {
        return samples; // something failed
      }
      pause.writeLock().lock();
      try {
        samples.add(Meter.take((System.nanoTime() - start) / 1e9));
      } finally {
        pause.writeLock().unlock();
      }
      System.out.println(samples.get(i));
    }
    return samples;
  }

  private static boolean report(Throwable failure) {
    if (failure != null) {
      failure.printStackTrace(System.out);
    }
    return failure == null;
  }

  private static boolean allCalled() {
    Map<String, Long> calls = Natives.calls();
    calls.forEach((name, number) -> System.out.printf("%12d %s%n", number, name));
    long called = calls.values().stream().filter(number -> number > 0).count();
    System.out.println(called + " of " + calls.size() + " natives called");
    return called == calls.size();
  }

  private static boolean flat(List<Meter.Sample> samples) {
    if (samples.size() <= SAMPLES) {
      return false;
    }
    Meter.Sample first = samples.get(0);
    List<Meter.Sample> last = samples.subList(SAMPLES - 2, SAMPLES + 1);
    System.out.println("first " + first);
    last.forEach(sample -> System.out.println("last  " + sample));
    return flat("descriptors", first, last, sample -> sample.descriptors, DESCRIPTORS_TOLERANCE)
        & flat(
            "global references",
            first,
            last,
            sample -> sample.globalReferences,
            GLOBAL_REFERENCES_TOLERANCE)
        & flat("native memory", first, last, sample -> sample.nativeBytes, NATIVE_TOLERANCE)
        & flat("JNI memory", first, last, sample -> sample.jniBytes, JNI_TOLERANCE)
        & flat("resident memory", first, last, sample -> sample.residentBytes, RESIDENT_TOLERANCE);
  }

  /**
   * Prints by how much something has grown, and whether that is no more than is allowed. Of the last
   * samples the lowest counts: what has leaked stays, what a compiler works with goes again.
   */
  private static boolean flat(
      String what,
      Meter.Sample first,
      List<Meter.Sample> last,
      ToLongFunction<Meter.Sample> of,
      long tolerance) {
    long growth = last.stream().mapToLong(of).min().getAsLong() - of.applyAsLong(first);
    System.out.printf("%s: %+d, %d allowed%n", what, growth, tolerance);
    return growth <= tolerance;
  }
}
