// Builds one row, so that a collector reads like the attribute table that it fills.
#pragma once

#include <memory>
#include <string>

#include <invscan/table.h>

namespace invscan {

// Each method is named for the type that it makes and takes no other: int, unsigned, short and bool
// would silently become something else and do not compile.
class RowBuilder {
 public:
  RowBuilder() : row_(std::make_unique<KelTableRow>()) {}

  RowBuilder& text(unsigned long id, const std::string& value) { return add(id, value); }
  RowBuilder& count(unsigned long id, unsigned long value) { return add(id, value); }
  RowBuilder& size(unsigned long id, unsigned long long value) { return add(id, value); }
  RowBuilder& signedCount(unsigned long id, long long value) { return add(id, value); }
  RowBuilder& real(unsigned long id, float value) { return add(id, value); }
  RowBuilder& dateTime(unsigned long id, long time) { return add(id, time); }

  template <class Other>
  RowBuilder& count(unsigned long, Other) = delete;
  template <class Other>
  RowBuilder& size(unsigned long, Other) = delete;
  template <class Other>
  RowBuilder& signedCount(unsigned long, Other) = delete;
  template <class Other>
  RowBuilder& real(unsigned long, Other) = delete;
  template <class Other>
  RowBuilder& dateTime(unsigned long, Other) = delete;

  // Hands the row to the table.
  void addTo(KelTable& table) { table.addRow(row_.release()); }

 private:
  template <class Value>
  RowBuilder& add(unsigned long id, Value&& value) {
    row_->addAttrib(new KelTableAttrib(id, value));
    return *this;
  }

  std::unique_ptr<KelTableRow> row_;
};

}  // namespace invscan
