// Every call that a native makes outside the library fails in turn, with every error that its
// manual page lists.
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <set>
#include <sstream>

#include "robustness/failure_rules.h"
#include "robustness/failure_table.h"
#include "robustness/fault_sites.h"
#include "robustness/man_pages.h"
#include "robustness/robustness_fixture.h"

namespace {

class ErrnoInjectionTest : public RobustnessTest {
 protected:
  ErrnoInjectionTest() : sites_(faultSites(all->acl())) {}

  // How often the undisturbed native makes each call.
  std::vector<int> callsOf(const NativeCall& call) const {
    std::vector<int> counts;
    all->attempt(
        call,
        [&](Hooks&) {
          for (const FaultSite& site : sites_) site.reset();
        },
        [&](Hooks& hooks) {
          for (const FaultSite& site : sites_) counts.push_back(site.calls(hooks));
        });
    return counts;
  }

  static Attempt failing(const NativeCall& call, const FaultSite& site, int nth, int err) {
    return all->attempt(
        call, [&](Hooks& hooks) { site.fail(hooks, err, nth); }, [&](Hooks&) { site.reset(); });
  }

  // visit(call, usual attempt, site, nth, err, attempt) for each single failure.
  template <class Visit>
  void forEachFailure(std::int32_t level, Visit visit) const {
    for (const NativeCall& call : all->calls()) {
      logger2::currentLevel = level;
      const Attempt usual = undisturbed(call);
      const std::vector<int> counts = callsOf(call);
      for (std::size_t i = 0; i < sites_.size(); ++i) {
        const std::vector<int> errors = documentedErrors(sites_[i].name());
        EXPECT_TRUE(counts[i] == 0 || !errors.empty()) << sites_[i].name();
        for (int nth = 1; nth <= counts[i]; ++nth) {
          for (const int err : errors) {
            visit(call, usual, sites_[i], nth, err, failing(call, sites_[i], nth, err));
          }
        }
      }
      EXPECT_EQ(all->attempt(call).outcome, usual.outcome) << call.name() << " afterwards";
    }
  }

  static void expectByRule(const NativeCall& call, const Outcome& usual, const FaultSite& site,
                           int nth, int err, const Outcome& outcome) {
    const FailureRule rule = ruleFor(call, site.name(), nth, err);
    switch (rule.effect) {
      case FailureRule::NONE:
        // A handle is as good as any other, whether or not the switch was made.
        EXPECT_EQ(outcome, usual);
        break;
      case FailureRule::RAISES: {
        ASSERT_TRUE(outcome.error) << outcome;
        EXPECT_EQ(outcome.text, call.neutral);
        const int reported = reportedErrno(rule, err);
        std::vector<JavaError> possible;
        for (const std::string& message : rule.messages) {
          possible.push_back(errorFor(reported, message));
        }
        EXPECT_THAT(possible, testing::Contains(*outcome.error)) << outcome;
        break;
      }
      case FailureRule::RETURNS:
        EXPECT_FALSE(outcome.error) << outcome;
        EXPECT_EQ(outcome.text, rule.messages[0]);
        break;
      case FailureRule::UNCHECKED:
        if (outcome.error == usual.error) {
          EXPECT_EQ(outcome.text, usual.text);
        } else {
          ASSERT_TRUE(outcome.error) << outcome;
          EXPECT_THAT(outcome.error->message, testing::StartsWith(errorFor(EINVAL, "").message));
          EXPECT_EQ(outcome.error->className, "java.io.IOException");
        }
        break;
    }
  }

  static void expectNothingLeft(const NativeCall& call, const Attempt& attempt) {
    EXPECT_EQ(attempt.damage, "");
    long kept = 0;
    if (call.native == "setFsUid__J") kept = -1;
    if (attempt.outcome.text == "a handle") kept = 1;
    // A failed call keeps its buffer.
    if (call.native == "setExtendedAttribute" && attempt.outcome.error) kept = 1;
    EXPECT_EQ(attempt.kept, kept);
  }

  // Returns the calls that have failed.
  std::set<std::string> checkAll(std::int32_t level) const {
    std::set<std::string> failed;
    int failures = 0;
    forEachFailure(level, [&](const NativeCall& call, const Attempt& usual, const FaultSite& site,
                              int nth, int err, const Attempt& attempt) {
      SCOPED_TRACE(call.name() + ": " + site.name() + " call " + std::to_string(nth) +
                   " fails: " + std::strerror(err));
      expectByRule(call, usual.outcome, site, nth, err, attempt.outcome);
      expectNothingLeft(call, attempt);
      failed.insert(site.name());
      ++failures;
    });
    std::cout << failures << " failures\n";
    return failed;
  }

 private:
  std::vector<FaultSite> sites_;
};

TEST_F(ErrnoInjectionTest, JavaSeesWhatTheRulesSayWhileNothingIsLogged) {
  checkAll(LOG_OFF);
}

TEST_F(ErrnoInjectionTest, JavaSeesWhatTheRulesSayWhileAllIsLogged) {
  EXPECT_THAT(checkAll(LOG_TRACE), testing::ElementsAreArray(documentedCalls()));
}

TEST_F(ErrnoInjectionTest, DocumentForOperatorsTellsWhatHappens) {
  if (getpwuid(geteuid()) == nullptr || getgrgid(getegid()) == nullptr) {
    GTEST_SKIP() << "needs a user and a group with names";
  }
  FailureTable table;
  forEachFailure(LOG_TRACE, [&](const NativeCall& call, const Attempt& usual, const FaultSite& site,
                                int nth, int err, const Attempt& attempt) {
    table.add(call, site.name(), nth, err, usual, attempt);
  });
  if (std::getenv("ZORF_UPDATE_DOCS") != nullptr)
    std::ofstream(ZORF_ERRORS_DOCUMENT) << table.text();
  std::ostringstream document;
  document << std::ifstream(ZORF_ERRORS_DOCUMENT).rdbuf();
  std::istringstream written(document.str());
  std::istringstream found(table.text());
  std::string line;
  for (std::string actual; std::getline(found, actual);) {
    std::getline(written, line);
    ASSERT_EQ(line, actual) << "ZORF_UPDATE_DOCS=1 writes it anew";
  }
  EXPECT_FALSE(std::getline(written, line)) << line;
}

}  // namespace
