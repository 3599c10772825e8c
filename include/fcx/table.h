// A read-only view of a constant table.
//
// Example:
//
//   #include <cstdio>
//   #include <iterator>
//
//   static constexpr int kPrimes[] = {2, 3, 5};
//   constexpr fcx::Table<int> primes(kPrimes, std::size(kPrimes));
//   for (const int prime : primes) printf("%d of %zu\n", prime, primes.size());
#pragma once

#include <cstddef>

namespace fcx {

/// The rows of a table that somebody else owns, for as long as that one lives.
template <typename Row>
class Table {
 public:
  /// Of `count` rows, one after another.
  constexpr Table(const Row* first, size_t count) : first_(first), count_(count) {}

  /// From the first row to behind the last, and how many there are.
  constexpr const Row* begin() const { return first_; }
  constexpr const Row* end() const { return first_ + count_; }
  constexpr size_t size() const { return count_; }

 private:
  const Row* first_;
  size_t count_;
};

}  // namespace fcx
