// placeholder until the records land
#pragma once
extern "C" {
int zorf_fcntl(int fd, void* buffer);
int zorf_restripe_file(int fd, void* buffer, int flags);
}
