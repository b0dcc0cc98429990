// A value worked out on first need and then shared read-only by every
// thread: the digests and key identifiers kept with an encoded object.
#ifndef MAREN_PLATFORM_STORE_LAZY_H
#define MAREN_PLATFORM_STORE_LAZY_H

#include <atomic>
#include <mutex>

namespace maren::store {

template <class T>
class Lazy {
  public:
    // The value, made by make() on the first call; later calls cost one
    // acquire load. If make() throws, nothing is kept and the next call
    // tries again.
    template <class Make>
    const T &get(Make &&make) const {
        if (!ready_.load(std::memory_order_acquire)) {
            std::lock_guard<std::mutex> lock(mutex_);
            if (!ready_.load(std::memory_order_relaxed)) {
                value_ = make();
                ready_.store(true, std::memory_order_release);
            }
        }
        return value_;
    }

    bool ready() const { return ready_.load(std::memory_order_acquire); }

    // [serial index hook] The value once made, else null; never makes it.
    const T *get_if_ready() const { return ready() ? &value_ : nullptr; }

  private:
    mutable std::atomic<bool> ready_{false};
    mutable std::mutex mutex_;
    mutable T value_{};
};

}  // namespace maren::store

#endif
