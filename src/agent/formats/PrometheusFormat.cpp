#include <algorithm>
#include <charconv>
#include <ctime>
#include <map>
#include <set>

#include <invscan/table.h>
#include <invscan/traits.h>

#include "agent/Names.h"
#include "agent/Text.h"
#include "agent/Version.h"
#include "agent/formats/Formats.h"
#include "agent/formats/Json.h"
#include "agent/formats/MetricNames.h"
#include "agent/formats/Value.h"

namespace invscan::agent {
namespace {

std::string escaped(const std::string& text, std::string_view special) {
  std::string result;
  for (const char c : text) {
    if (c == '\n') {
      result += "\\n";
      continue;
    }
    if (special.find(c) != special.npos) result += '\\';
    result += c;
  }
  return result;
}

// `name="value"`; readers take one that is empty for one that is not there, so there is none.
void appendLabel(std::string& labels, const std::string& name, const std::string& value) {
  if (value.empty()) return;
  if (!labels.empty()) labels += ',';
  labels += name + "=\"" + escaped(withBlanksForControls(value), "\\\"") + '"';
}

std::string braced(const std::string& labels) {
  return labels.empty() ? " " : "{" + labels + "} ";
}

void appendHead(std::string& text, const std::string& name, const std::string& help,
                const char* type = "gauge") {
  text.append("# HELP ").append(name).append(" ").append(help);
  text.append("\n# TYPE ").append(name).append(" ").append(type).append("\n");
}

std::string number(double value) {
  char buffer[32];
  return {buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr};
}

// Seconds since the epoch, by the time zone of the machine under scan, which is the process's.
std::optional<double> timeIn(const kelAttribValue& record) {
  const std::string text = plainText(record);
  std::tm time{};
  time.tm_isdst = -1;
  const char* const rest = strptime(text.c_str(), "%Y-%m-%d-%H.%M.%S", &time);
  if (!rest || *rest != '.') return std::nullopt;
  return static_cast<double>(std::mktime(&time));
}

bool isNumber(const kelAttribValue& record) {
  return !isText(record) && record.kelType != KEL_UQUAD;
}

// The value of a number or time in base units; empty for what is neither, and for a stable value
// that no source told, which would be a false 0. One that changes may well be 0.
std::string sampleOf(const kelGroupDef& group, const kelAttribDef& attribute,
                     const kelAttribValue& record, const MetricName& metric) {
  const AttributeTraits* const traits = attributeTraits(group.id, attribute.id);
  const bool isVolatile = traits && traits->behaviour == Behaviour::Volatile;
  const bool isTime = record.kelType == KEL_DATETIME;
  if ((isTime || !isVolatile) && isDefault(group.id, attribute, &record)) return "";
  if (isUnknown(group.id, attribute, record)) return "";
  if (isTime) {
    const auto time = timeIn(record);
    return time ? number(*time) : "";
  }
  if (!isNumber(record)) return "";
  const std::string plain = plainText(record);
  if (metric.factor == metric.divisor) return plain;
  double value = 0;
  std::from_chars(plain.data(), plain.data() + plain.size(), value);
  return number(value * metric.factor / metric.divisor);
}

class GroupMetrics {
 public:
  explicit GroupMetrics(const GroupResult& result)
      : result_(result),
        group_(*result.group),
        prefix_(metricPrefix(group_)),
        keys_(group_.keys, group_.keys + group_.keyCount) {
    // Two names of another version may be one here; readers refuse a text that has one twice.
    std::set<std::string> names;
    for (const kelAttribDef* attribute : attributesOf(group_)) {
      const bool isNew = names.insert(snakeCase(attribute->name)).second;
      const bool isNewMetric =
          isLabel(*attribute) || names.insert(MetricName(group_, *attribute).name + "=").second;
      if (isNew && isNewMetric) attributes_.push_back(attribute);
    }
    for (const Row& row : result.rows) rowLabels_.push_back(keyLabels(row));
    numberRepeatedRows();
  }

  void append(std::string& text) const {
    appendInfo(text);
    for (const kelAttribDef* attribute : attributes_) {
      if (!isLabel(*attribute)) appendSamples(text, *attribute);
    }
  }

 private:
  bool isKey(const kelAttribDef& attribute) const { return keys_.contains(attribute.id); }

  // Texts and enumerated numbers are labels, and so are keys.
  bool isLabel(const kelAttribDef& attribute) const {
    return attribute.type == KEL_STRING || attribute.type == KEL_OCTETSTRING ||
           attribute.type == KEL_UQUAD || attribute.enums || isKey(attribute);
  }

  std::string keyLabels(const Row& row) const {
    std::string labels;
    for (const kelAttribDef* attribute : attributes_) {
      const kelAttribValue* const record = findRecord(row, attribute->id);
      if (record && isKey(*attribute)) {
        appendLabel(labels, snakeCase(attribute->name), plainText(*record));
      }
    }
    return labels;
  }

  // Equal labels would make two samples of one series, for which readers refuse the whole text.
  void numberRepeatedRows() {
    if (std::set(rowLabels_.begin(), rowLabels_.end()).size() == rowLabels_.size()) return;
    for (std::size_t i = 0; i < rowLabels_.size(); ++i) {
      appendLabel(rowLabels_[i], "row", std::to_string(i + 1));
    }
  }

  // What a row's info metric tells of an attribute: also a number that redaction made a text.
  std::string infoText(const kelAttribDef& attribute, const kelAttribValue& record) const {
    if (isKey(attribute)) return "";  // is there already
    if (!isLabel(attribute)) return record.kelType == KEL_STRING ? plainText(record) : "";
    const char* const meaning = enumeratedText(attribute, record);
    return meaning ? meaning : plainText(record);
  }

  void appendInfo(std::string& text) const {
    const std::string name = prefix_ + "_info";
    std::string samples;
    for (std::size_t i = 0; i < result_.rows.size(); ++i) {
      std::string labels = rowLabels_[i];
      for (const kelAttribDef* attribute : attributes_) {
        const kelAttribValue* const record = findRecord(result_.rows[i], attribute->id);
        if (!record) continue;
        appendLabel(labels, snakeCase(attribute->name), infoText(*attribute, *record));
      }
      if (!labels.empty()) samples += name + braced(labels) + "1\n";
    }
    if (samples.empty()) return;
    appendHead(text, name, "Texts of " + std::string(group_.name) + ", a row each.");
    text += samples;
  }

  void appendSamples(std::string& text, const kelAttribDef& attribute) const {
    const MetricName metric(group_, attribute);
    const std::string name = prefix_ + "_" + metric.name;
    std::string samples;
    for (std::size_t i = 0; i < result_.rows.size(); ++i) {
      const kelAttribValue* const record = findRecord(result_.rows[i], attribute.id);
      if (!record) continue;
      const std::string sample = sampleOf(group_, attribute, *record, metric);
      if (!sample.empty()) samples += name + braced(rowLabels_[i]) + sample + "\n";
    }
    if (samples.empty()) return;
    const AttributeTraits* const traits = attributeTraits(group_.id, attribute.id);
    const std::string help = traits && *traits->description ? traits->description : attribute.name;
    appendHead(text, name, escaped(help, "\\"), metric.isCounter ? "counter" : "gauge");
    text += samples;
  }

  const GroupResult& result_;
  const kelGroupDef& group_;
  const std::string prefix_;
  const std::set<unsigned long> keys_;
  std::vector<const kelAttribDef*> attributes_;
  std::vector<std::string> rowLabels_;
};

// What tells whether the rest can be relied on.
void appendScan(std::string& text, const Scan& scan) {
  appendHead(text, "invscan_build_info", "Version of the scanner.");
  text += std::string("invscan_build_info{version=\"") + kVersion + "\"} 1\n";
  std::string time;
  appendUtcTime(time, scan.time);
  if (time != "null") {
    appendHead(text, "invscan_scan_timestamp_seconds", "When the scan began.");
    text += "invscan_scan_timestamp_seconds " + std::to_string(scan.time) + "\n";
  }
  appendHead(text, "invscan_scan_duration_seconds", "How long the scan took.");
  text += "invscan_scan_duration_seconds " + number(scan.milliseconds / 1000) + "\n";
  if (scan.groups.empty()) return;
  appendHead(text, "invscan_group_answered",
             "Whether the group answered: it has rows, or this machine has none of its kind.");
  for (const GroupResult& result : scan.groups) {
    std::string labels;
    appendLabel(labels, "group", result.group->name);
    const bool hasAnswered = result.status == Status::Ok || result.status == Status::Absent;
    text += "invscan_group_answered{" + labels + "} " + (hasAnswered ? "1" : "0") + "\n";
  }
}

}  // namespace

std::string formatPrometheus(const Scan& scan, const Style& /*style*/) {
  std::string text;
  appendScan(text, scan);
  std::set<std::string> prefixes;
  for (const GroupResult& result : scan.groups) {
    if (prefixes.insert(metricPrefix(*result.group)).second) GroupMetrics(result).append(text);
  }
  return text;
}

}  // namespace invscan::agent
