#include "invscan/linux/utils/IdentityTexts.h"

#include <invscan/catalogue.h>
#include <invscan/traits.h>

#include "common/text/Lines.h"
#include "invscan/machine/Machine.h"

namespace invscan {
namespace {

void append(std::string& list, const std::string& text) {
  list += (list.empty() ? "" : ", ") + text;
}

}  // namespace

void IdentityTexts::offer(unsigned long id, const std::string& source, const std::string& text) {
  if (!text.empty()) told_[id].push_back({source, text});
}

std::string IdentityTexts::find(unsigned long id) const {
  const auto found = told_.find(id);
  return found == told_.end() ? "" : found->second.front().text;
}

std::string IdentityTexts::sourceOf(unsigned long id) const {
  const auto found = told_.find(id);
  return found == told_.end() ? "" : found->second.front().source;
}

void IdentityTexts::addTo(OrderedRow& row) const {
  const kelGroupDef* group = getGroupDefinitionFromId(groupId_);
  for (const auto& [id, told] : told_) {
    const kelAttribDef* attribute = getAttribDefinitionFromId(group, id);
    row.text(id, std::string(cutText(told.front().text, attribute->maxLength)));
  }
  noteVerdicts();
}

void IdentityTexts::noteVerdicts() const {
  struct Verdict {
    std::string given, overruled;
  };
  std::vector<std::string> sources;  // in the order in which they were first heard
  std::map<std::string, Verdict> verdicts;
  for (const auto& [id, told] : told_) {
    const std::string name = getAttribNameFromId(getGroupDefinitionFromId(groupId_), id);
    const bool isSensitive = attributeTraits(groupId_, id)->sensitive;
    for (const auto& [source, text] : told) {
      const auto [verdict, isNew] = verdicts.try_emplace(source);
      if (isNew) sources.push_back(source);
      if (&text == &told.front().text) {
        append(verdict->second.given, name);
      } else if (text != told.front().text) {
        append(verdict->second.overruled, isSensitive ? name : name + " \"" + text + "\"");
      }
    }
  }
  for (const std::string& source : sources) {
    const auto& [given, overruled] = verdicts[source];
    if (!given.empty()) noteAccess(source, kGave + given, 0);
    if (!overruled.empty()) noteAccess(source, kOverruled + overruled, 0);
  }
}

}  // namespace invscan
