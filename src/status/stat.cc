#include "status/stat.h"

#include <cstddef>

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
