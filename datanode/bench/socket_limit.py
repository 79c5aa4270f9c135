#!/usr/bin/env python3
"""What the loopback device itself gives: bytes from one process to another, without a file or a checksum.

socket_limit.py BYTES STREAMS...: for each number of streams a line of streams, bytes, seconds, and the
processor seconds of the sender and of the receiver, between tabs.
"""
import os
import socket
import sys
import threading
import time

PIECE = 128 << 10


def in_threads(function, connections):
    threads = [threading.Thread(target=function, args=(connection,)) for connection in connections]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()


def receive(connection):
    buffer = bytearray(PIECE)
    while connection.recv_into(buffer):
        pass


def send(connection, count):
    piece = os.urandom(PIECE)
    for _ in range(count):
        connection.sendall(piece)
    connection.close()


def measure(size, streams):
    listener = socket.create_server(("127.0.0.1", 0), backlog=streams)
    sender = os.fork()
    if sender == 0:
        connections = [socket.create_connection(listener.getsockname()) for _ in range(streams)]
        in_threads(lambda connection: send(connection, size // streams // PIECE), connections)
        os._exit(0)
    connections = [listener.accept()[0] for _ in range(streams)]
    start, cpu = time.monotonic(), time.process_time()
    in_threads(receive, connections)
    seconds, cpu = time.monotonic() - start, time.process_time() - cpu
    usage = os.wait4(sender, 0)[2]
    return streams, size, seconds, usage.ru_utime + usage.ru_stime, cpu


for number in sys.argv[2:]:
    print("%d\t%d\t%.3f\t%.2f\t%.2f" % measure(int(sys.argv[1]), int(number)))
