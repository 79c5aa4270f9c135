// Tests of what knows nothing of Java.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/logger.h"

// All lines that were logged since the last call, each "<level> <text>": what the recording sink of
// support/recorded_log.cc has, or in a program with a JVM its logger.
std::vector<std::string> takeLog();
// The same with the line number of a location prefix replaced: "debug @getStat:# lstat for ...".
std::vector<std::string> takeLogWithoutLines();

// An empty log at its lowest level; afterwards the level is back.
class CoreTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;
};
