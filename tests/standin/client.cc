#include "client.h"

#include <dlfcn.h>
#include <endian.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/types.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

namespace {

template <typename Buffer>
Buffer withHeader() {
  Buffer buffer = {};
  buffer.header.totalLength = sizeof buffer;
  buffer.header.fcntlVersion = 1;
  return buffer;
}

int control(int fd, void* buffer) {
  errno = 0;
  return client().fcntl(fd, buffer) == 0 ? 0 : errno;
}

}  // namespace

const Client& client() {
  static const Client loaded = [] {
    void* library = dlopen(ZORF_STANDIN_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      std::fprintf(stderr, "%s\n", dlerror());
      std::abort();
    }
    return Client{reinterpret_cast<int (*)(int, void*)>(dlsym(library, "zorf_fcntl")),
                  reinterpret_cast<int (*)(int, void*, int)>(dlsym(library, "zorf_restripe_file"))};
  }();
  return loaded;
}

TempFile::TempFile(std::uint64_t size)
    : path_(std::filesystem::temp_directory_path() / "zorf-standin-XXXXXX") {
  const int writable = mkstemp(path_.data());
  EXPECT_GE(writable, 0) << path_ << ": " << std::strerror(errno);
  EXPECT_EQ(0, ftruncate(writable, static_cast<off_t>(size))) << std::strerror(errno);
  close(writable);
  fd_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
}

TempFile::~TempFile() {
  close(fd_);
  unlink(path_.c_str());
}

std::string TempFile::attribute(const char* name) const {
  char value[64];
  const ssize_t length = getxattr(path_.c_str(), name, value, sizeof value);
  return length < 0 ? std::string() : std::string(value, static_cast<std::size_t>(length));
}

zorfBlockInfo_t blockInfoRequest() {
  auto request = withHeader<zorfBlockInfo_t>();
  request.replication.structLen = 32;
  request.replication.structType = 3001;
  request.xattr.structLen = 56;
  request.xattr.structType = 6001;
  request.xattr.nameLen = 8;
  request.xattr.bufferLen = 24;
  request.xattr.flags = 0x8000;
  std::memcpy(request.xattr.name, "zorf.BGF", 8);
  return request;
}

zorfBlockLocations_t locationsRequest(std::uint64_t start, std::uint64_t skipFactor,
                                      std::uint64_t length) {
  auto request = withHeader<zorfBlockLocations_t>();
  request.query.structLen = 64568;
  request.query.structType = 3006;
  request.query.start = start;
  request.query.skipFactor = skipFactor;
  request.query.length = length;
  return request;
}

zorfReplicationDirective_t replicationRequest(std::int32_t replicas) {
  auto request = withHeader<zorfReplicationDirective_t>();
  request.replication.structLen = 40;
  request.replication.structType = 2005;
  request.replication.dataReplicas = replicas;
  return request;
}

zorfBgfDirective_t factorRequest(std::int32_t factor) {
  auto request = withHeader<zorfBgfDirective_t>();
  request.xattr.structLen = 56;
  request.xattr.structType = 6002;
  request.xattr.nameLen = 8;
  request.xattr.bufferLen = 4;
  request.xattr.flags = 0x8000;
  std::memcpy(request.xattr.name, "zorf.BGF", 8);
  const std::uint32_t value = htobe32(static_cast<std::uint32_t>(factor));
  std::memcpy(request.xattr.value, &value, sizeof value);
  return request;
}

zorfRestripe_t restripeRequest() {
  auto request = withHeader<zorfRestripe_t>();
  request.restripe.structLen = 48;
  request.restripe.structType = 2008;
  request.restripe.options = 2;
  return request;
}

int setReplication(int fd, std::int32_t replicas) {
  auto request = replicationRequest(replicas);
  return control(fd, &request);
}

int setFactor(int fd, std::int32_t factor) {
  auto request = factorRequest(factor);
  return control(fd, &request);
}

int restripe(int fd) {
  auto request = restripeRequest();
  errno = 0;
  return client().restripe(fd, &request, 0) == 0 ? 0 : errno;
}

BlockInfo blockInfo(int fd) {
  auto request = blockInfoRequest();
  BlockInfo info;
  info.err = control(fd, &request);
  info.replicas = request.replication.words[2];
  if (request.xattr.errReason == 0) {
    std::uint32_t value = 0;
    std::memcpy(&value, request.xattr.value, sizeof value);
    info.factor = static_cast<std::int32_t>(be32toh(value));
  }
  return info;
}

Locations locations(int fd, std::uint64_t start, std::uint64_t skipFactor, std::uint64_t length) {
  auto request = locationsRequest(start, skipFactor, length);
  Locations found;
  found.err = control(fd, &request);
  if (found.err != 0) return found;
  found.replicas = request.query.replicas;
  found.blocks = request.query.blocks;
  found.metaBlockSize =
      std::uint64_t{request.query.metaBlockSizeHigh} << 32 | request.query.metaBlockSizeLow;
  found.words.resize(2 * static_cast<std::size_t>(found.replicas) *
                     static_cast<std::size_t>(found.blocks));
  EXPECT_LE(found.words.size() * 4, sizeof request.query.data);
  if (found.words.empty()) return found;
  std::memcpy(found.words.data(), request.query.data, found.words.size() * 4);
  return found;
}

GuardedBytes::GuardedBytes(std::size_t capacity) {
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  const std::size_t usable = (capacity + page - 1) / page * page;
  mapped_ = usable + page;
  void* memory = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_NE(MAP_FAILED, memory);
  begin_ = static_cast<unsigned char*>(memory);
  end_ = begin_ + usable;
  EXPECT_EQ(0, mprotect(end_, page, PROT_NONE));
}

GuardedBytes::~GuardedBytes() {
  munmap(begin_, mapped_);
}

std::string inOtherProcess(const std::string& arguments, const std::string& topology) {
  char self[4096] = {};
  EXPECT_GT(readlink("/proc/self/exe", self, sizeof self - 1), 0);
  const std::string variable =
      topology.empty() ? "-u ZORF_TOPOLOGY" : "'ZORF_TOPOLOGY=" + topology + "'";
  const std::string command = "env " + variable + " '" + self + "' --child " + arguments + " 2>&1";
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
  std::string text;
  for (int c = 0; (c = std::fgetc(output.get())) != EOF;) text.push_back(static_cast<char>(c));
  return text;
}
