#include "jni/resultstream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "jni/convert.h"
#include "jni/javalog.h"

namespace {

constexpr std::size_t LONGEST_ARRAY = std::numeric_limits<jint>::max();
// The largest array that is made before its bytes are there: that of a file of some 8 TiB. A status
// record may be out of date and promise far more than comes, and a virtual machine that runs with
// -XX:OnOutOfMemoryError would end for an array that was never needed.
constexpr std::size_t LONGEST_EXPECTED = std::size_t{32} << 20;

}  // namespace

void ResultBuf::expect(std::uint64_t count, std::uint64_t size) {
  if (size != 0 && count > (LONGEST_ARRAY - position()) / size) throw std::bad_alloc();
  if (array_ != nullptr || !native_.empty()) return;
  const std::uint64_t total = position() + count * size;
  if (total <= window_.size() || JavaLog::threw(env_)) return;
  if (total > LONGEST_EXPECTED) {
    gatherUpTo(total);
    return;
  }
  array_ = env_->NewByteArray(static_cast<jsize>(total));
  if (array_ == nullptr) {
    env_->ExceptionClear();  // take() will meet it again, if the query succeeds
  } else {
    arrayLength_ = total;
  }
}

jbyteArray ResultBuf::take() {
  noteEnd();
  const bool inWindow =
      base_ == 0 && end_ <= window_.size() && array_ == nullptr && native_.empty();
  if (!inWindow) flush();
  if (inWindow) {
    return convertChar2byteArray(env_, static_cast<int>(end_), window_.data());
  }
  if (array_ != nullptr && arrayLength_ == end_) return JavaLog::threw(env_) ? nullptr : array_;
  if (array_ != nullptr) leaveArray(end_);
  return convertChar2byteArray(env_, static_cast<int>(end_), native_.data());
}

ResultBuf::int_type ResultBuf::overflow(int_type c) {
  flush();
  if (!traits_type::eq_int_type(c, traits_type::eof())) {
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
  }
  return traits_type::not_eof(c);
}

std::streamsize ResultBuf::xsputn(const char* s, std::streamsize n) {
  const auto count = static_cast<std::size_t>(n);
  if (n > epptr() - pptr()) flush();
  if (n > epptr() - pptr()) {
    store(base_, s, count);
    base_ += count;
  } else {
    std::memcpy(pptr(), s, count);
    pbump(static_cast<int>(n));
  }
  return n;
}

ResultBuf::pos_type ResultBuf::seekoff(off_type offset, std::ios::seekdir from,
                                       std::ios::openmode which) {
  noteEnd();
  const auto start = from == std::ios::beg   ? std::size_t{0}
                     : from == std::ios::cur ? position()
                                             : end_;
  const off_type target = static_cast<off_type>(start) + offset;
  if ((which & std::ios::out) == 0 || target < 0 || target > static_cast<off_type>(end_)) {
    return pos_type(off_type{-1});
  }
  const auto wanted = static_cast<std::size_t>(target);
  if (wanted >= base_ && wanted <= base_ + fill_) {
    setp(window_.data(), window_.data() + window_.size());
    pbump(static_cast<int>(wanted - base_));
  } else {
    flush();
    restart(wanted);
  }
  return target;
}

ResultBuf::pos_type ResultBuf::seekpos(pos_type position, std::ios::openmode which) {
  return seekoff(off_type(position), std::ios::beg, which);
}

void ResultBuf::noteEnd() {
  fill_ = std::max(fill_, position() - base_);
  end_ = std::max(end_, position());
}

void ResultBuf::restart(std::size_t base) {
  base_ = base;
  fill_ = 0;
  setp(window_.data(), window_.data() + window_.size());
}

void ResultBuf::flush() {
  noteEnd();
  const std::size_t next = position();
  store(base_, window_.data(), fill_);
  restart(next);
}

void ResultBuf::store(std::size_t at, const char* bytes, std::size_t count) {
  if (count > LONGEST_ARRAY - at) throw std::bad_alloc();
  const std::size_t to = at + count;
  end_ = std::max(end_, to);
  if (count == 0) return;
  if (array_ != nullptr && to > arrayLength_) leaveArray(stored_);
  stored_ = std::max(stored_, to);
  if (array_ != nullptr) {
    if (JavaLog::threw(env_)) return;  // the answer is lost
    env_->SetByteArrayRegion(array_, static_cast<jsize>(at), static_cast<jsize>(count),
                             reinterpret_cast<const jbyte*>(bytes));
    return;
  }
  const std::size_t inside = std::min(count, native_.size() - at);
  std::memcpy(native_.data() + at, bytes, inside);
  native_.append(bytes + inside, count - inside);
}

// Has native memory for `total` bytes, of which only what is written will be taken.
void ResultBuf::gatherUpTo(std::size_t total) {
  try {
    native_.reserve(total);
  } catch (const std::bad_alloc&) {
    // It may not be needed.
  }
}

// Goes on in native memory with the first `written` bytes of the array.
void ResultBuf::leaveArray(std::size_t written) {
  native_.resize(written);
  if (!JavaLog::threw(env_)) {
    env_->GetByteArrayRegion(array_, 0, static_cast<jsize>(written),
                             reinterpret_cast<jbyte*>(native_.data()));
  }
  env_->DeleteLocalRef(array_);
  array_ = nullptr;
  arrayLength_ = 0;
}
