package zorf.bench;

import java.util.Map;
import java.util.TreeMap;

/** The rows of one kind, by name. */
final class Rows {
  /** What a row calls over and over, in the thread of that number. */
  interface Call {
    void make(int thread) throws Exception;
  }

  private final Map<String, Call> calls = new TreeMap<>();

  void add(String name, Call call) {
    calls.put(name, call);
  }

  // What the benchmark program calls.

  String[] names() {
    return calls.keySet().toArray(new String[0]);
  }

  void run(String name, int count, int thread) throws Exception {
    Call call = calls.get(name);
    for (int i = 0; i < count; ++i) {
      call.make(thread);
    }
  }
}
