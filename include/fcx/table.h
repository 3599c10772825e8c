// A read-only view of a constant table.
#pragma once

#include <cstddef>

namespace fcx {

template <typename Row>
class Table {
 public:
  constexpr Table(const Row* first, size_t count) : first_(first), count_(count) {}

  constexpr const Row* begin() const { return first_; }
  constexpr const Row* end() const { return first_ + count_; }
  constexpr size_t size() const { return count_; }

 private:
  const Row* first_;
  size_t count_;
};

}  // namespace fcx
