#include "status/stat.h"

#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "identity/fsaccount.h"
#include "jni/logger.h"

static_assert(sizeof(struct stat) == 144, "the raw status record that Java reads");

#define ZORF_FIELD(field) offsetof(struct stat, field), sizeof(stat::field)
const std::array<std::int32_t, 18> statusOffsetMemberSize = {
    ZORF_FIELD(st_ino),  ZORF_FIELD(st_mode),
    ZORF_FIELD(st_size), ZORF_FIELD(st_atim),
    ZORF_FIELD(st_mtim), ZORF_FIELD(st_ctim),
    ZORF_FIELD(st_uid),  ZORF_FIELD(st_gid),
    sizeof(struct stat), 0,
};
#undef ZORF_FIELD

namespace {

int missingIfNotADirectory(int err) {
  return err == ENOTDIR ? ENOENT : err;
}

}  // namespace

int getStat(const char* path, bool resolveLink, struct stat& st) {
  if (lstat(path, &st) != 0) {
    const int err = errno;
    if (err == EACCES) dump_gid("getStat error");
    ZORF_LOG(LOG_DEBUG, "lstat for " << path << " error " << err << " resolveLink " << resolveLink);
    return missingIfNotADirectory(err);
  }
  if (S_ISLNK(st.st_mode) && resolveLink && stat(path, &st) != 0) {
    const int err = errno;
    ZORF_LOG(LOG_DEBUG, "link target is invalid, stat for " << path << " error " << err
                                                            << " resolveLink " << resolveLink);
    return missingIfNotADirectory(err);
  }
  ZORF_LOG(LOG_DEBUG, "tid:" << gettid() << " path: " << path
                             << " stat ctime: " << st.st_ctim.tv_sec << "," << st.st_ctim.tv_nsec);
  return 0;
}
