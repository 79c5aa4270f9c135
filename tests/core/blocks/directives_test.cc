#include "blocks/directives.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "blocks/query.h"
#include "core/blocks/directive_records.h"
#include "support/scripted_client.h"

namespace {

TEST(Directives, ReplicationRecordIsExact) {
  for (const short replicas : std::initializer_list<short>{2, 0, 3, -1, 32767, -32768}) {
    ScriptedClient client;
    client.reply({});
    EXPECT_EQ(setReplication(6, replicas), 0);
    ASSERT_EQ(client.calls().size(), 1u);
    EXPECT_EQ(client.calls()[0].function, "zorf_fcntl");
    EXPECT_EQ(client.calls()[0].fd, 6);
    EXPECT_EQ(client.calls()[0].request, replicationDirective(replicas));
  }
}

TEST(Directives, ReplicationFailsWithAnythingButZero) {
  ScriptedClient client;
  client.fail(EDQUOT);
  EXPECT_EQ(setReplication(6, 2), -1);
  EXPECT_EQ(errno, EDQUOT);
  client.reply({1, ENODATA, nullptr});
  EXPECT_EQ(setReplication(6, 2), -1);
}

TEST(Directives, RestripeArgumentIsExact) {
  ScriptedClient client;
  client.reply({});
  EXPECT_EQ(restripeFile(6), 0);
  ASSERT_EQ(client.calls().size(), 1u);
  EXPECT_EQ(client.calls()[0].function, "zorf_restripe_file");
  EXPECT_EQ(client.calls()[0].fd, 6);
  EXPECT_EQ(client.calls()[0].flags, 0);
  EXPECT_EQ(client.calls()[0].request, restripeArgument());
}

TEST(Directives, RestripeFailsWithAnythingButZero) {
  ScriptedClient client;
  client.fail(EBUSY);
  EXPECT_EQ(restripeFile(6), -1);
  EXPECT_EQ(errno, EBUSY);
  client.reply({1, ENODATA, nullptr});
  EXPECT_EQ(restripeFile(6), -1);
}

TEST(Directives, FactorRecordIsExactAndBigEndian) {
  ScriptedClient client;
  client.reply({});
  client.reply({});
  EXPECT_EQ(setBGF(6, 0x0102), 0);
  EXPECT_EQ(setBGF(6, -2), 0);
  ASSERT_EQ(client.calls().size(), 2u);
  EXPECT_EQ(client.calls()[0].function, "zorf_fcntl");
  EXPECT_EQ(client.calls()[0].fd, 6);
  EXPECT_EQ(client.calls()[0].request, bgfDirective(std::string("\0\0\1\2", 4)));
  EXPECT_EQ(client.calls()[1].request, bgfDirective("\xFF\xFF\xFF\xFE"));
}

TEST(Directives, FactorFailsWithNegativeResultsOnly) {
  ScriptedClient client;
  client.fail(EPERM);
  EXPECT_EQ(setBGF(6, 2), -1);
  EXPECT_EQ(errno, EPERM);
  client.reply({1, 0, nullptr});
  EXPECT_EQ(setBGF(6, 2), 0);
}

TEST(Directives, WrittenFactorIsReadBackAsTheSame) {
  const KeptSettings kept;
  logger2::currentLevel = LOG_OFF;
  for (const int factor : {1, 2, 255, 256, 1000, 1024}) {
    ScriptedClient client;
    client.reply({});
    EXPECT_EQ(setBGF(6, factor), 0);
    const std::string stored = client.calls()[0].request.substr(48, 4);
    client.reply({0, 0, [=](unsigned char* buffer) {
                    stored.copy(reinterpret_cast<char*>(buffer) + 80, 4);
                  }});
    location loc{};
    loc.blocksize = 1;
    EXPECT_EQ(getBlkInfoInternal(6, loc), 0);
    EXPECT_EQ(loc.blocksize, static_cast<std::uint64_t>(factor));
  }
}

}  // namespace
