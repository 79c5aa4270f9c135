#include "jni/resultstream.h"

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

void ResultStream::expect(std::uint64_t count, std::uint64_t size) {
  if (size != 0 && count > (LONGEST_ARRAY - this->size()) / size) throw std::bad_alloc();
  if (array_ != nullptr || stored_ != 0) return;
  const std::uint64_t total = waiting_ + count * size;
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

void ResultStream::write(const void* bytes, std::size_t count) {
  if (count > window_.size() - waiting_) flush();
  if (count > window_.size()) {
    store(static_cast<const char*>(bytes), count);
  } else {
    std::memcpy(window_.data() + waiting_, bytes, count);
    waiting_ += count;
  }
}

void ResultStream::rewrite(std::size_t at, const void* bytes, std::size_t count) {
  if (at < stored_) flush();
  if (at >= stored_) {
    std::memcpy(window_.data() + (at - stored_), bytes, count);
  } else if (array_ != nullptr) {
    putIntoArray(at, static_cast<const char*>(bytes), count);
  } else {
    std::memcpy(native_.data() + at, bytes, count);
  }
}

jbyteArray ResultStream::take() {
  if (stored_ == 0 && array_ == nullptr) {
    return convertChar2byteArray(env_, static_cast<int>(waiting_), window_.data());
  }
  flush();
  if (array_ != nullptr && arrayLength_ == stored_) return JavaLog::threw(env_) ? nullptr : array_;
  if (array_ != nullptr) leaveArray();
  return convertChar2byteArray(env_, static_cast<int>(stored_), native_.data());
}

void ResultStream::flush() {
  store(window_.data(), waiting_);
  waiting_ = 0;
}

void ResultStream::store(const char* bytes, std::size_t count) {
  if (count > LONGEST_ARRAY - stored_) throw std::bad_alloc();
  if (count == 0) return;
  if (array_ != nullptr && count > arrayLength_ - stored_) leaveArray();
  if (array_ != nullptr) {
    putIntoArray(stored_, bytes, count);
  } else {
    native_.append(bytes, count);
  }
  stored_ += count;
}

void ResultStream::putIntoArray(std::size_t at, const char* bytes, std::size_t count) {
  if (JavaLog::threw(env_)) return;  // the answer is lost
  env_->SetByteArrayRegion(array_, static_cast<jsize>(at), static_cast<jsize>(count),
                           reinterpret_cast<const jbyte*>(bytes));
}

// Has native memory for `total` bytes, of which only what is written will be taken.
void ResultStream::gatherUpTo(std::size_t total) {
  try {
    native_.reserve(total);
  } catch (const std::bad_alloc&) {
    // It may not be needed.
  }
}

// Goes on in native memory with what is in the array.
void ResultStream::leaveArray() {
  native_.resize(stored_);
  if (!JavaLog::threw(env_)) {
    env_->GetByteArrayRegion(array_, 0, static_cast<jsize>(stored_),
                             reinterpret_cast<jbyte*>(native_.data()));
  }
  env_->DeleteLocalRef(array_);
  array_ = nullptr;
}
