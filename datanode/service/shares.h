// How much of something each of many has, and that nobody has more than a share of it.
#pragma once

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace datanode {

class Shares {
  struct Holder {
    unsigned int count = 0;
    bool told = false;  // that there is no more
  };
  using Holders = std::map<std::string, Holder, std::less<>>;

 public:
  // `what` is for the log, as in "connections".
  Shares(std::string what, unsigned int most) : most_(most), what_(std::move(what)) {}

  // One of them, until it is destroyed.
  class Share {
   public:
    Share(Share&& other) noexcept
        : shares_(std::exchange(other.shares_, nullptr)), holder_(other.holder_) {}
    Share& operator=(Share&&) = delete;
    ~Share();

   private:
    friend class Shares;
    Share(Shares& shares, Holders::iterator holder) : shares_(&shares), holder_(holder) {}

    Shares* shares_;
    Holders::iterator holder_;
  };

  // Nothing for a name that has its share; the first time this is logged. Any thread.
  [[nodiscard]] std::optional<Share> take(const std::string& name);

  // Before the first one is taken.
  void limit(unsigned int most) { most_ = most; }

 private:
  std::mutex mutex_;
  unsigned int most_;
  const std::string what_;
  Holders holders_;
};

}  // namespace datanode
