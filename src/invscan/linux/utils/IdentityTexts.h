// Texts of an identity that several sources tell.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "invscan/com/model/OrderedRow.h"

namespace invscan {

// The first source that tells an attribute gives its value; the others are kept for the access log.
class IdentityTexts {
 public:
  explicit IdentityTexts(unsigned long groupId) : groupId_(groupId) {}

  // Sources are offered in the order of their precedence, under their names in the access log.
  // Nothing is told by an empty text.
  void offer(unsigned long id, const std::string& source, const std::string& text);

  bool isEmpty() const { return told_.empty(); }
  // What counts for an attribute, and who told it; empty when nobody did.
  std::string find(unsigned long id) const;
  std::string sourceOf(unsigned long id) const;

  // Adds the texts, cut as the catalogue says, and notes for each source what it gave, and for what
  // it said otherwise than the one that was believed. Sensitive texts are not in the notes.
  void addTo(OrderedRow& row) const;

 private:
  struct Told {
    std::string source, text;
  };

  void noteVerdicts() const;

  unsigned long groupId_;
  std::map<unsigned long, std::vector<Told>> told_;
};

}  // namespace invscan
