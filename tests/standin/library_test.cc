// The library as a whole: its interface, and the topology it takes from the environment.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "client.h"

namespace {

std::string outputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
  std::string text;
  for (int c = 0; (c = std::fgetc(output.get())) != EOF;) text.push_back(static_cast<char>(c));
  return text;
}

// A topology file that lasts as long as the object.
class TopologyFile {
 public:
  explicit TopologyFile(const std::string& text) { std::ofstream(file_.path()) << text; }
  const std::string& path() const { return file_.path(); }

 private:
  TempFile file_;
};

TEST(Library, ExportsItsTwoCalls) {
  const std::string symbols =
      outputOf(ZORF_NM " -D --defined-only --format=posix '" ZORF_STANDIN_LIBRARY "'");
  std::set<std::string> names;
  std::istringstream in(symbols);
  for (std::string line; std::getline(in, line);) names.insert(line.substr(0, line.find(' ')));
  EXPECT_EQ((std::set<std::string>{"zorf_fcntl", "zorf_restripe_file"}), names);
}

TEST(Library, TakesItsTopologyFromTheEnvironment) {
  const TopologyFile topology("block-size 1M\nreplicas 3\nrack 5: 50 51\nrack 6: 60\nrack 7: 70\n");
  const TempFile file(50 << 20);
  EXPECT_EQ("3 none\n", inOtherProcess("info '" + file.path() + "'", topology.path()));
  std::istringstream entries(
      inOtherProcess("locations '" + file.path() + "' 0 0 52428800", topology.path()));
  const std::map<int, int> racks = {{50, 5}, {51, 5}, {60, 6}, {70, 7}};
  int blocks = 0;
  for (int words[6];
       entries >> words[0] >> words[1] >> words[2] >> words[3] >> words[4] >> words[5]; ++blocks) {
    for (int i = 0; i < 3; ++i) EXPECT_EQ(racks.at(words[i]), words[3 + i]);
    EXPECT_EQ(3U, std::set<int>(words + 3, words + 6).size());
  }
  EXPECT_EQ(50, blocks);
  // The directive's limit is the number of locations.
  EXPECT_EQ("", inOtherProcess("set '" + file.path() + "' 4 1", topology.path()));
  EXPECT_EQ("errno 22\n", inOtherProcess("set '" + file.path() + "' 5 1", topology.path()));
}

TEST(Library, AFileKeepsItsReplicasInASmallerTopology) {
  const TopologyFile one("rack 1: 8\n");
  const TempFile file(1);
  ASSERT_EQ(0, setReplication(file.fd(), 3));
  ASSERT_EQ(0, restripe(file.fd()));
  EXPECT_EQ("8 8 8 1 1 1\n", inOtherProcess("locations '" + file.path() + "' 0 0 1", one.path()));
}

TEST(Library, AWrongTopologyFailsEveryCallAndIsReportedOnce) {
  const TopologyFile wrong("rack 1: 1\nrock 2: 2\n\nrack 1: 3\n");
  const TempFile file(1);
  EXPECT_EQ("libzorf: " + wrong.path() + ":2: unknown statement 'rock'\n" +
                "libzorf: " + wrong.path() + ":4: rack 1: is given twice\n" + "errno 22\n",
            inOtherProcess("set '" + file.path() + "' 1 1", wrong.path()));
  EXPECT_EQ("libzorf: /nowhere: No such file or directory\nerrno 22\n",
            inOtherProcess("info '" + file.path() + "'", "/nowhere"));
}

}  // namespace
