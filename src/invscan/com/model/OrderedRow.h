// Rows whose values are found in another order than the catalogue has them in.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <variant>

#include <invscan/table.h>

namespace invscan {

// Its methods are those of RowBuilder, and stand for the same types.
class OrderedRow {
 public:
  OrderedRow& text(unsigned long id, const std::string& value) { return add(id, value); }
  OrderedRow& count(unsigned long id, unsigned long value) { return add(id, value); }
  OrderedRow& real(unsigned long id, float value) { return add(id, value); }
  OrderedRow& wideReal(unsigned long id, double value) { return add(id, value); }

  // Hands a row with the values in the order of their ids to the table.
  void addTo(KelTable& table) const {
    auto row = std::make_unique<KelTableRow>();
    for (const auto& [id, value] : values_) {
      const auto make = [attribute = id](const auto& typed) {
        return new KelTableAttrib(attribute, typed);
      };
      row->addAttrib(std::visit(make, value));
    }
    table.addRow(row.release());
  }

 private:
  using Value = std::variant<std::string, unsigned long, float, double>;

  OrderedRow& add(unsigned long id, Value value) {
    values_.insert_or_assign(id, std::move(value));
    return *this;
  }

  std::map<unsigned long, Value> values_;
};

}  // namespace invscan
