// Changes to how the file system keeps a file: its replicas and its block group factor.
//
// All return 0, or -1 with errno as the client library set it.
#pragma once

// Sets how many replicas the data is to have; the data that is there already stays as it is.
int setReplication(int fd, short replicas);

// Makes the data that is there follow the replication.
int restripeFile(int fd);

// Sets the block group factor, which the HDFS block size is derived from.
int setBGF(int fd, int factor);
