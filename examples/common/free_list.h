#ifndef EXAMPLES_COMMON_FREE_LIST_H
#define EXAMPLES_COMMON_FREE_LIST_H

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace examples {

/// Working memory that threads borrow: as many objects as are in use at the same time.
template <typename T>
class FreeList {
 public:
  explicit FreeList(std::function<std::unique_ptr<T>()> make) : make_(std::move(make)) {}

  /// Calls use(T &) with an object that no other thread has.
  template <typename Use>
  void borrow(const Use &use) {
    std::unique_ptr<T> object = take();
    use(*object);
    const std::lock_guard<std::mutex> lock(mutex_);
    free_.push_back(std::move(object));
  }

 private:
  std::unique_ptr<T> take() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (!free_.empty()) {
        std::unique_ptr<T> object = std::move(free_.back());
        free_.pop_back();
        return object;
      }
    }
    return make_();
  }

  std::function<std::unique_ptr<T>()> make_;
  std::mutex mutex_;
  std::vector<std::unique_ptr<T>> free_;
};

}  // namespace examples

#endif
