// Changes to how the file system keeps a file: its replicas and its block group factor.
//
// Those of a descriptor return 0, or -1 with errno as the client library set it. Those of a path
// open it as the calling thread, and fail with an error line in the name of `native`, then
// IOException.
#pragma once

// Sets how many replicas the data is to have; the data that is there already stays as it is.
int setReplication(int fd, short replicas);

// Makes the data that is there follow the replication.
int restripeFile(int fd);

// Sets the block group factor, which the HDFS block size is derived from.
int setBGF(int fd, int factor);

// Sets the replication and, with `restripe`, has the data follow.
void replicate(const char* native, const char* path, short replicas, bool restripe);

// Sets a factor from 1 to 1024.
void group(const char* native, const char* path, int factor);
