// Random files, ranges, layouts and replies: every byte of every stream and request, and every
// result, against the model. ZORF_SEED repeats a run.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <random>
#include <sstream>

#include "blocks/policy.h"
#include "blocks/query.h"
#include "core/blocks/model.h"
#include "core/blocks/records.h"
#include "support/entries.h"
#include "support/scripted_client.h"

namespace {

using Random = std::mt19937_64;

std::uint64_t below(Random& random, std::uint64_t bound) {
  return random() % bound;
}

bool oneIn(Random& random, std::uint64_t n) {
  return below(random, n) == 0;
}

template <class T, std::size_t N>
T pick(Random& random, const T (&values)[N]) {
  return values[below(random, N)];
}

struct Case {
  model::File file;
  model::Query query;
};

std::int32_t randomReplicas(Random& random) {
  if (oneIn(random, 10)) return static_cast<std::int32_t>(below(random, 17));
  return static_cast<std::int32_t>(1 + below(random, 4));
}

// Identifiers are `distinct` numbers a `step` apart, from two below 0 on.
struct Locations {
  std::uint64_t distinct;
  std::int32_t step;
};

model::Reply randomReply(Random& random, std::int32_t replicas, std::uint64_t meta,
                         Locations locations) {
  model::Reply reply;
  reply.replicas = replicas;
  const std::uint64_t most = oneIn(random, 20) ? 200 : 12;
  reply.blocks = static_cast<std::int32_t>(below(random, most));
  reply.metaLow = static_cast<std::uint32_t>(meta);
  reply.metaHigh = static_cast<std::uint32_t>(meta >> 32);
  reply.words.resize(static_cast<std::size_t>(2 * reply.replicas) *
                     static_cast<std::size_t>(reply.blocks));
  for (std::int32_t& word : reply.words) {
    word = (static_cast<std::int32_t>(below(random, locations.distinct)) - 2) * locations.step;
  }
  return reply;
}

Case randomCase(Random& random) {
  static const std::uint64_t blockSizes[] = {1,           7,       512,     4096,     3 * MiB,
                                             4 * MiB - 1, 4 * MiB, 8 * MiB, 16 * MiB, 3 * GiB};
  Case c;
  model::File& file = c.file;
  file.fsBlockSize = pick(random, blockSizes);
  file.size = oneIn(random, 12) ? 0 : below(random, file.fsBlockSize * (1 + below(random, 80)) + 1);
  file.regular = !oneIn(random, 40);
  file.infoErr = oneIn(random, 40) ? EACCES : 0;
  file.hasFactor = !oneIn(random, 4);
  static const std::int32_t factors[] = {0, 1, 2, 3, 4, 5, 8, 16, 32, 100, 1024, -1, -3};
  file.factor = pick(random, factors);
  file.replication = randomReplicas(random);

  model::Query& query = c.query;
  query.policy = oneIn(random, 60) ? 4 : static_cast<int>(below(random, 4));
  static const std::uint64_t defaults[] = {0, 1, 5 * MiB, 64 * MiB, 128 * MiB, 1 * GiB};
  query.defaultBlockSize = pick(random, defaults);
  query.offset = oneIn(random, 3) ? 0 : below(random, file.size + file.fsBlockSize + 1);
  if (oneIn(random, 100)) query.offset = random();
  query.length = oneIn(random, 8) ? 0 : below(random, 2 * file.size + 2);
  if (oneIn(random, 3)) query.length = file.size;
  if (oneIn(random, 100)) query.length = random();

  const std::int32_t replicas = randomReplicas(random);
  static const std::int32_t steps[] = {1, 1, 97, 30000000};
  const Locations locations = {1 + below(random, oneIn(random, 4) ? 60 : 10), pick(random, steps)};
  for (std::uint64_t i = 1 + below(random, 12); i > 0; --i) {
    const std::uint64_t meta = oneIn(random, 15) ? random() : file.fsBlockSize;
    file.replies.push_back(randomReply(
        random, oneIn(random, 15) ? randomReplicas(random) : replicas, meta, locations));
    if (oneIn(random, 60)) file.replies.back().err = EREMOTEIO;
  }
  return c;
}

// Plays the file of one case to the library and notes the requests.
class Player {
 public:
  explicit Player(const model::File& file) : file_(file) {}

  int answer(unsigned char* buffer) {
    std::uint32_t type = 0;
    std::memcpy(&type, buffer + 20, sizeof type);
    const auto* bytes = reinterpret_cast<const char*>(buffer);
    if (type == 3001) {
      requests.emplace_back(bytes, 104);
      return information(buffer);
    }
    requests.push_back(settledBytes({bytes, 52}));
    if (next_ == file_.replies.size()) return failed(ENOSYS);
    const model::Reply& reply = file_.replies[next_++];
    if (reply.err != 0) return failed(reply.err);
    put(buffer, 56, static_cast<std::uint32_t>(reply.replicas));
    put(buffer, 60, static_cast<std::uint32_t>(reply.blocks));
    put(buffer, 64, reply.metaLow);
    put(buffer, 68, reply.metaHigh);
    const std::string data = words(reply.words);
    std::memcpy(buffer + 72, data.data(), data.size());
    errno = 0;
    return 0;
  }

  std::vector<std::string> requests;

 private:
  static int failed(int err) {
    errno = err;
    return -1;
  }

  static void put(unsigned char* buffer, std::size_t offset, std::uint32_t value) {
    std::memcpy(buffer + offset, &value, sizeof value);
  }

  int information(unsigned char* buffer) const {
    if (file_.infoErr != 0) return failed(file_.infoErr);
    put(buffer, 32, static_cast<std::uint32_t>(file_.replication));
    if (file_.hasFactor) {
      for (int i = 0; i < 4; ++i) {
        buffer[80 + i] =
            static_cast<unsigned char>(static_cast<std::uint32_t>(file_.factor) >> (24 - 8 * i));
      }
    } else {
      put(buffer, 68, 1);
    }
    errno = 0;
    return 0;
  }

  const model::File& file_;
  std::size_t next_ = 0;
};

std::string described(const Case& c, std::uint64_t seed, int number) {
  std::ostringstream os;
  os << "seed " << seed << " case " << number << ": policy " << c.query.policy << " offset "
     << c.query.offset << " length " << c.query.length << " default " << c.query.defaultBlockSize
     << "; file size " << c.file.size << " block " << c.file.fsBlockSize << " factor "
     << (c.file.hasFactor ? std::to_string(c.file.factor) : "none") << "; replies";
  for (const model::Reply& reply : c.file.replies) {
    os << " " << reply.replicas << "x" << reply.blocks << (reply.err != 0 ? "!" : "");
  }
  return os.str();
}

TEST(BlockQueries, MatchTheModel) {
  const char* given = std::getenv("ZORF_SEED");
  const std::uint64_t seed =
      given != nullptr ? std::strtoull(given, nullptr, 0) : std::random_device{}();
  std::cout << "ZORF_SEED=" << seed << "\n";
  Random random(seed);

  const KeptSettings kept;
  logger2::currentLevel = LOG_OFF;
  ScriptedClient client;
  int sorted = 0;
  int walks = 0;
  for (int number = 0; number < 100000 && !::testing::Test::HasFailure(); ++number) {
    const Case c = randomCase(random);
    const model::Outcome expected = model::run(c.file, c.query);

    Player player(c.file);
    client.answerWith([&](unsigned char* buffer) { return player.answer(buffer); });
    defaultDFSBlockSize = c.query.defaultBlockSize;
    struct stat st =
        statusOf(c.file.size, c.file.fsBlockSize, (c.file.regular ? S_IFREG : S_IFDIR) | 0644);
    location loc{};
    loc.offset = c.query.offset;
    loc.length = c.query.length;
    Entries out;
    errno = 0;
    const int result = getBlkLocationInt(3, static_cast<GetBlkCmd>(c.query.policy), st, loc, out);

    ASSERT_EQ(result, expected.result) << described(c, seed, number);
    ASSERT_EQ(player.requests, expected.requests) << described(c, seed, number);
    ASSERT_EQ(wordsOf(out.bytes), wordsOf(expected.stream)) << described(c, seed, number);
    ASSERT_EQ(bytesOfLocation(loc), expected.stream.substr(0, 32)) << described(c, seed, number);
    if (c.query.policy == 3 && result == 0 && loc.nblock > 1) ++sorted;
    if (expected.requests.size() > 3) ++walks;
  }
  // The cases are worth the name.
  EXPECT_GT(sorted, 1000);
  EXPECT_GT(walks, 1000);
}

}  // namespace
