#include "agent/compare/RowPairs.h"

#include <algorithm>
#include <numeric>

namespace invscan::agent {
namespace {

// So many rows that share a key are held against so many others.
constexpr std::size_t kWindow = 32;

// Negative, 0 or positive, as the first row is before, equal to or behind the second.
int compare(const std::uint32_t* a, const std::uint32_t* b,
            const std::vector<std::size_t>& columns) {
  for (const std::size_t column : columns) {
    if (a[column] != b[column]) return a[column] < b[column] ? -1 : 1;
  }
  return 0;
}

bool isTold(const std::uint32_t* row, const std::vector<std::size_t>& columns) {
  return std::any_of(columns.begin(), columns.end(),
                     [row](std::size_t column) { return row[column] != 0; });
}

}  // namespace

struct RowPairs::Score {
  std::size_t likeness, a, b;
};

RowPairs::RowPairs(const NumberTable& a, const NumberTable& b)
    : tables_{&a, &b}, partners_{Places(a.rows, kNone), Places(b.rows, kNone)} {
}

void RowPairs::pairEqual() {
  Places all(tables_[0]->columns);
  std::iota(all.begin(), all.end(), 0);
  pairBuckets(all, 1);
}

void RowPairs::pairBy(const std::vector<std::size_t>& columns) {
  if (!columns.empty()) pairBuckets(columns, kWindow);
}

void RowPairs::demand(const std::vector<std::size_t>& columns) {
  demanded_.push_back(columns);
}

void RowPairs::pairRest() {
  pairBuckets({}, kWindow);
}

// The places of rows without a partner; those that are equal in the columns are neighbours, in the
// order of the table.
RowPairs::Places RowPairs::sorted(std::size_t side, const Places& columns) const {
  const NumberTable& table = *tables_[side];
  Places places;
  for (std::size_t place = 0; place < table.rows; ++place) {
    const bool isKeyed =
        columns.empty() || columns.size() == table.columns || isTold(table.row(place), columns);
    if (partners_[side][place] == kNone && isKeyed) places.push_back(place);
  }
  std::stable_sort(places.begin(), places.end(), [&](std::size_t x, std::size_t y) {
    return compare(table.row(x), table.row(y), columns) < 0;
  });
  return places;
}

void RowPairs::pairBuckets(const Places& columns, std::size_t window) {
  const Places all[] = {sorted(0, columns), sorted(1, columns)};
  std::size_t at[] = {0, 0};
  while (at[0] < all[0].size() && at[1] < all[1].size()) {
    const std::uint32_t* const rows[] = {tables_[0]->row(all[0][at[0]]),
                                         tables_[1]->row(all[1][at[1]])};
    const int order = compare(rows[0], rows[1], columns);
    if (order != 0) {
      ++at[order < 0 ? 0 : 1];
      continue;
    }
    std::size_t counts[2];
    for (std::size_t side = 0; side < 2; ++side) {
      counts[side] = 1;
      while (counts[side] < window && at[side] + counts[side] < all[side].size() &&
             compare(rows[side], tables_[side]->row(all[side][at[side] + counts[side]]), columns) ==
                 0) {
        ++counts[side];
      }
    }
    pairWindow(&all[0][at[0]], counts[0], &all[1][at[1]], counts[1]);
    at[0] += counts[0];
    at[1] += counts[1];
  }
}

void RowPairs::pairWindow(const std::size_t* a, std::size_t countOfA, const std::size_t* b,
                          std::size_t countOfB) {
  std::vector<Score> scores;
  scores.reserve(countOfA * countOfB);
  for (std::size_t i = 0; i < countOfA; ++i) {
    for (std::size_t j = 0; j < countOfB; ++j) {
      if (mayBeSame(a[i], b[j])) scores.push_back({likeness(a[i], b[j]), a[i], b[j]});
    }
  }
  std::stable_sort(scores.begin(), scores.end(),
                   [](const Score& x, const Score& y) { return x.likeness > y.likeness; });
  for (const Score& score : scores) {
    if (partners_[0][score.a] != kNone || partners_[1][score.b] != kNone) continue;
    partners_[0][score.a] = score.b;
    partners_[1][score.b] = score.a;
  }
}

bool RowPairs::mayBeSame(std::size_t a, std::size_t b) const {
  const std::uint32_t* const rows[] = {tables_[0]->row(a), tables_[1]->row(b)};
  return std::all_of(demanded_.begin(), demanded_.end(), [&](const Places& columns) {
    return compare(rows[0], rows[1], columns) == 0 || !isTold(rows[0], columns) ||
           !isTold(rows[1], columns);
  });
}

std::size_t RowPairs::likeness(std::size_t a, std::size_t b) const {
  const std::uint32_t* const x = tables_[0]->row(a);
  return static_cast<std::size_t>(std::inner_product(x, x + tables_[0]->columns, tables_[1]->row(b),
                                                     std::size_t{0}, std::plus<>(),
                                                     std::equal_to<>()));
}

}  // namespace invscan::agent
