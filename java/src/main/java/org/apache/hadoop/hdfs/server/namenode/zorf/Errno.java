package org.apache.hadoop.hdfs.server.namenode.zorf;

import java.util.HashMap;
import java.util.Map;

/**
 * Error numbers of the system, found by their texts: the natives' exceptions hold nothing else. The
 * texts are those of the C library without translations; the numbers are those of Linux on x86-64.
 */
final class Errno {
  static final int ENOENT = 2;
  static final int EACCES = 13;
  static final int ENOMEM = 12;
  static final int EINVAL = 22;
  static final int EIO = 5;
  static final int ENODATA = 61;
  static final int EOPNOTSUPP = 95;

  private static final String UNKNOWN = "Unknown error ";
  private static final Map<String, Integer> NUMBERS = new HashMap<>();

  static {
    NUMBERS.put("Success", 0);
    NUMBERS.put("Operation not permitted", 1);
    NUMBERS.put("No such file or directory", 2);
    NUMBERS.put("No such process", 3);
    NUMBERS.put("Interrupted system call", 4);
    NUMBERS.put("Input/output error", 5);
    NUMBERS.put("No such device or address", 6);
    NUMBERS.put("Argument list too long", 7);
    NUMBERS.put("Exec format error", 8);
    NUMBERS.put("Bad file descriptor", 9);
    NUMBERS.put("No child processes", 10);
    NUMBERS.put("Resource temporarily unavailable", 11);
    NUMBERS.put("Cannot allocate memory", 12);
    NUMBERS.put("Permission denied", 13);
    NUMBERS.put("Bad address", 14);
    NUMBERS.put("Block device required", 15);
    NUMBERS.put("Device or resource busy", 16);
    NUMBERS.put("File exists", 17);
    NUMBERS.put("Invalid cross-device link", 18);
    NUMBERS.put("No such device", 19);
    NUMBERS.put("Not a directory", 20);
    NUMBERS.put("Is a directory", 21);
    NUMBERS.put("Invalid argument", 22);
    NUMBERS.put("Too many open files in system", 23);
    NUMBERS.put("Too many open files", 24);
    NUMBERS.put("Inappropriate ioctl for device", 25);
    NUMBERS.put("Text file busy", 26);
    NUMBERS.put("File too large", 27);
    NUMBERS.put("No space left on device", 28);
    NUMBERS.put("Illegal seek", 29);
    NUMBERS.put("Read-only file system", 30);
    NUMBERS.put("Too many links", 31);
    NUMBERS.put("Broken pipe", 32);
    NUMBERS.put("Numerical argument out of domain", 33);
    NUMBERS.put("Numerical result out of range", 34);
    NUMBERS.put("Resource deadlock avoided", 35);
    NUMBERS.put("File name too long", 36);
    NUMBERS.put("No locks available", 37);
    NUMBERS.put("Function not implemented", 38);
    NUMBERS.put("Directory not empty", 39);
    NUMBERS.put("Too many levels of symbolic links", 40);
    NUMBERS.put("No message of desired type", 42);
    NUMBERS.put("Identifier removed", 43);
    NUMBERS.put("Channel number out of range", 44);
    NUMBERS.put("Level 2 not synchronized", 45);
    NUMBERS.put("Level 3 halted", 46);
    NUMBERS.put("Level 3 reset", 47);
    NUMBERS.put("Link number out of range", 48);
    NUMBERS.put("Protocol driver not attached", 49);
    NUMBERS.put("No CSI structure available", 50);
    NUMBERS.put("Level 2 halted", 51);
    NUMBERS.put("Invalid exchange", 52);
    NUMBERS.put("Invalid request descriptor", 53);
    NUMBERS.put("Exchange full", 54);
    NUMBERS.put("No anode", 55);
    NUMBERS.put("Invalid request code", 56);
    NUMBERS.put("Invalid slot", 57);
    NUMBERS.put("Bad font file format", 59);
    NUMBERS.put("Device not a stream", 60);
    NUMBERS.put("No data available", 61);
    NUMBERS.put("Timer expired", 62);
    NUMBERS.put("Out of streams resources", 63);
    NUMBERS.put("Machine is not on the network", 64);
    NUMBERS.put("Package not installed", 65);
    NUMBERS.put("Object is remote", 66);
    NUMBERS.put("Link has been severed", 67);
    NUMBERS.put("Advertise error", 68);
    NUMBERS.put("Srmount error", 69);
    NUMBERS.put("Communication error on send", 70);
    NUMBERS.put("Protocol error", 71);
    NUMBERS.put("Multihop attempted", 72);
    NUMBERS.put("RFS specific error", 73);
    NUMBERS.put("Bad message", 74);
    NUMBERS.put("Value too large for defined data type", 75);
    NUMBERS.put("Name not unique on network", 76);
    NUMBERS.put("File descriptor in bad state", 77);
    NUMBERS.put("Remote address changed", 78);
    NUMBERS.put("Can not access a needed shared library", 79);
    NUMBERS.put("Accessing a corrupted shared library", 80);
    NUMBERS.put(".lib section in a.out corrupted", 81);
    NUMBERS.put("Attempting to link in too many shared libraries", 82);
    NUMBERS.put("Cannot exec a shared library directly", 83);
    NUMBERS.put("Invalid or incomplete multibyte or wide character", 84);
    NUMBERS.put("Interrupted system call should be restarted", 85);
    NUMBERS.put("Streams pipe error", 86);
    NUMBERS.put("Too many users", 87);
    NUMBERS.put("Socket operation on non-socket", 88);
    NUMBERS.put("Destination address required", 89);
    NUMBERS.put("Message too long", 90);
    NUMBERS.put("Protocol wrong type for socket", 91);
    NUMBERS.put("Protocol not available", 92);
    NUMBERS.put("Protocol not supported", 93);
    NUMBERS.put("Socket type not supported", 94);
    NUMBERS.put("Operation not supported", 95);
    NUMBERS.put("Protocol family not supported", 96);
    NUMBERS.put("Address family not supported by protocol", 97);
    NUMBERS.put("Address already in use", 98);
    NUMBERS.put("Cannot assign requested address", 99);
    NUMBERS.put("Network is down", 100);
    NUMBERS.put("Network is unreachable", 101);
    NUMBERS.put("Network dropped connection on reset", 102);
    NUMBERS.put("Software caused connection abort", 103);
    NUMBERS.put("Connection reset by peer", 104);
    NUMBERS.put("No buffer space available", 105);
    NUMBERS.put("Transport endpoint is already connected", 106);
    NUMBERS.put("Transport endpoint is not connected", 107);
    NUMBERS.put("Cannot send after transport endpoint shutdown", 108);
    NUMBERS.put("Too many references: cannot splice", 109);
    NUMBERS.put("Connection timed out", 110);
    NUMBERS.put("Connection refused", 111);
    NUMBERS.put("Host is down", 112);
    NUMBERS.put("No route to host", 113);
    NUMBERS.put("Operation already in progress", 114);
    NUMBERS.put("Operation now in progress", 115);
    NUMBERS.put("Stale file handle", 116);
    NUMBERS.put("Structure needs cleaning", 117);
    NUMBERS.put("Not a XENIX named type file", 118);
    NUMBERS.put("No XENIX semaphores available", 119);
    NUMBERS.put("Is a named type file", 120);
    NUMBERS.put("Remote I/O error", 121);
    NUMBERS.put("Disk quota exceeded", 122);
    NUMBERS.put("No medium found", 123);
    NUMBERS.put("Wrong medium type", 124);
    NUMBERS.put("Operation canceled", 125);
    NUMBERS.put("Required key not available", 126);
    NUMBERS.put("Key has expired", 127);
    NUMBERS.put("Key has been revoked", 128);
    NUMBERS.put("Key was rejected by service", 129);
    NUMBERS.put("Owner died", 130);
    NUMBERS.put("State not recoverable", 131);
    NUMBERS.put("Operation not possible due to RF-kill", 132);
    NUMBERS.put("Memory page has hardware error", 133);
  }

  private Errno() {}

  /** The number of an error with this text, 0 if there is none. */
  static int ofText(String text) {
    if (text.matches(UNKNOWN + "[0-9]{1,9}")) {
      return Integer.parseInt(text.substring(UNKNOWN.length()));
    }
    return NUMBERS.getOrDefault(text, 0);
  }
}
