package zorf.namenode;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertThrows;

import org.apache.hadoop.ipc.RemoteException;
import org.junit.jupiter.api.function.Executable;

/** What a client is told: the class and the first line of the text. */
final class Refused {
  private Refused() {}

  static void with(Class<? extends Exception> type, String text, Executable call) {
    Exception e = assertThrows(Exception.class, call);
    String name =
        e instanceof RemoteException remote ? remote.getClassName() : e.getClass().getName();
    assertEquals(type.getName() + ": " + text, name + ": " + firstLine(e.getMessage()));
  }

  private static String firstLine(String text) {
    int end = text.indexOf('\n');
    return end < 0 ? text : text.substring(0, end);
  }
}
