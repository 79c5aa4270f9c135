package org.apache.hadoop.hdfs.server.namenode.zorf;

import static org.junit.jupiter.api.Assertions.assertEquals;
import static org.junit.jupiter.api.Assertions.assertSame;
import static org.junit.jupiter.api.Assertions.assertThrows;

import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.nio.charset.StandardCharsets;
import java.nio.file.AccessDeniedException;
import java.nio.file.FileSystemException;
import java.nio.file.NoSuchFileException;
import org.junit.jupiter.api.Test;

/** What becomes of the exceptions that natives throw. */
class FailuresTest {
  private static <E extends FileSystemException> void check(
      Class<E> type, String message, int errno, Exception thrown) {
    FileSystemException e =
        assertThrows(type, () -> Failures.calling("native", "/a/b", () -> fail(thrown)));
    assertEquals(message, e.getMessage());
    assertEquals("/a/b", e.getFile());
    assertEquals(message, "/a/b: " + e.getReason());
    assertEquals(errno, ZorfFailure.errnoOf(e));
    assertSame(thrown, e.getCause());
  }

  private static Void fail(Exception thrown) throws IOException {
    if (thrown instanceof IOException) {
      throw (IOException) thrown;
    }
    throw (RuntimeException) thrown;
  }

  @Test
  void classFileReasonAndNumberAreThoseOfTheError() {
    check(
        NoSuchFileException.class,
        "/a/b: No such file or directory",
        2,
        new NoSuchFileException("No such file or directory: /a/b"));
    check(
        AccessDeniedException.class,
        "/a/b: Permission denied",
        13,
        new AccessDeniedException("Permission denied: /a/b"));
    check(
        AccessDeniedException.class,
        "/a/b: Operation not permitted",
        1,
        new AccessDeniedException("Operation not permitted: "));
    check(
        FileSystemException.class,
        "/a/b: Not a directory: stat failed for /a/b",
        20,
        new IOException("Not a directory: stat failed for /a/b"));
    check(
        FileSystemException.class,
        "/a/b: Unknown error 524: /c",
        524,
        new IOException("Unknown error 524: /c"));
    check(FileSystemException.class, "/a/b: Success", 0, new IOException("Success: /a/b"));
    check(FileSystemException.class, "/a/b: null", 0, new IOException());
  }

  @Test
  void memoryThatIsShortIsAFailureTooAndAnythingElseStaysWhatItIs() {
    check(
        FileSystemException.class,
        "/a/b: Cannot allocate memory",
        12,
        new RuntimeException("Cannot allocate memory: /a/b"));
    RuntimeException other = new ArrayIndexOutOfBoundsException("4");
    assertSame(
        other,
        assertThrows(
            RuntimeException.class,
            () -> Failures.calling("native", "/a", () -> fail(other))));
  }

  @Test
  void aTranslatedTextLeavesTheNumberOfTheClass() {
    check(
        NoSuchFileException.class,
        "/a/b: Datei oder Verzeichnis nicht gefunden",
        2,
        new NoSuchFileException("Datei oder Verzeichnis nicht gefunden: /a/b"));
    check(
        AccessDeniedException.class,
        "/a/b: Keine Berechtigung",
        13,
        new AccessDeniedException("Keine Berechtigung: /a/b"));
    check(
        FileSystemException.class,
        "/a/b: Nicht gen\u00fcgend Hauptspeicher verf\u00fcgbar",
        12,
        new RuntimeException("Nicht gen\u00fcgend Hauptspeicher verf\u00fcgbar: /a/b"));
    check(
        FileSystemException.class,
        "/a/b: Ist kein Verzeichnis",
        0,
        new IOException("Ist kein Verzeichnis: "));
  }

  @Test
  void everyTextOfTheCLibraryHasItsNumber() throws Exception {
    ProcessBuilder perl =
        new ProcessBuilder("perl", "-e", "for (1..133) { $! = $_; print \"$!\\n\" }");
    perl.environment().put("LC_ALL", "C");
    Process process = perl.start();
    try (BufferedReader texts =
        new BufferedReader(
            new InputStreamReader(process.getInputStream(), StandardCharsets.UTF_8))) {
      for (int errno = 1; errno <= 133; errno++) {
        assertEquals(errno, Errno.ofText(texts.readLine()));
      }
    }
    assertEquals(0, process.waitFor());
    assertEquals(0, Errno.ofText("No such text"));
    assertEquals(0, Errno.ofText(""));
  }
}
