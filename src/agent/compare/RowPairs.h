// Finds the rows of one table in another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace invscan::agent {

// Rows by number: equal values of a column have equal numbers in both tables, and 0 is none.
struct NumberTable {
  std::size_t rows = 0, columns = 0;
  std::vector<std::uint32_t> numbers;  // row by row

  const std::uint32_t* row(std::size_t place) const { return numbers.data() + place * columns; }
};

// Pairs rows of two tables, each at most once, in steps of which the first that finds a partner
// counts. All take n log n.
class RowPairs {
 public:
  static constexpr std::size_t kNone = SIZE_MAX;

  RowPairs(const NumberTable& a, const NumberTable& b);

  // Rows that are equal throughout.
  void pairEqual();
  // Rows that are equal in these columns, and have a value there; of several the most equal, as far
  // as they lie near each other in order.
  void pairBy(const std::vector<std::size_t>& columns);
  // From now on rows that have values in these columns, and differ in them, are no pair.
  void demand(const std::vector<std::size_t>& columns);
  // What is left, likewise.
  void pairRest();

  // By row of a table, its partner in the other, or kNone.
  const std::vector<std::size_t>& ofA() const { return partners_[0]; }
  const std::vector<std::size_t>& ofB() const { return partners_[1]; }

 private:
  using Places = std::vector<std::size_t>;
  struct Score;

  Places sorted(std::size_t side, const Places& columns) const;
  void pairBuckets(const Places& columns, std::size_t window);
  void pairWindow(const std::size_t* a, std::size_t countOfA, const std::size_t* b,
                  std::size_t countOfB);
  bool mayBeSame(std::size_t a, std::size_t b) const;
  std::size_t likeness(std::size_t a, std::size_t b) const;

  const NumberTable* const tables_[2];
  std::vector<std::size_t> partners_[2];
  std::vector<Places> demanded_;
};

}  // namespace invscan::agent
