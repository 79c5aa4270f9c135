#include "service/shares.h"

#include "service/log.h"

namespace datanode {

std::optional<Shares::Share> Shares::take(const std::string& name) {
  const std::lock_guard lock(mutex_);
  const auto holder = holders_.try_emplace(name).first;
  if (holder->second.count < most_) {
    ++holder->second.count;
    return Share(*this, holder);
  }
  if (!std::exchange(holder->second.told, true)) {
    logLine(Level::WARN,
            name + " has " + std::to_string(most_) + " " + what_ + ", and gets no more");
  }
  return std::nullopt;
}

Shares::Share::~Share() {
  if (shares_ == nullptr) return;
  const std::lock_guard lock(shares_->mutex_);
  Holder& holder = holder_->second;
  --holder.count;
  // Not at each time that one is given back and taken again.
  if (holder.count <= shares_->most_ / 2) holder.told = false;
  if (holder.count == 0) shares_->holders_.erase(holder_);
}

}  // namespace datanode
