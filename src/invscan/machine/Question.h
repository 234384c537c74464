// Plain questions to the machine: what is asked is a key, what comes back a value, and a capture
// holds the value as JSON. One file in questions/ tells all that is known of one such question;
// asking, noting, recording and replaying are the same for all. docs/architecture.md shows how to
// add one.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include "invscan/machine/CaptureValue.h"

namespace invscan {

class Question;

// What is known of a kind of question before it is asked.
struct QuestionKind {
  // Its keys of machine.json. What the section of a question does not hold is looked for in the
  // sections before it.
  std::span<const char* const> sections;
  // Its sections are objects with an answer by key; otherwise a section is the answer.
  bool isKeyed;
  // Whether every machine answers, so that a recorded capture without an answer was never asked.
  bool isAlwaysAnswered;
  // A key of machine.json as the question writes it. Refuses, by the value, what is none.
  std::string (*readKey)(const std::string& name, const CaptureValue& value);
  // A question of this kind, to read an answer into.
  std::unique_ptr<Question> (*make)();
};

// One question that is asked, with room for its answer. What the machine does not tell leaves the
// answer as it was made.
class Question {
 public:
  Question() = default;
  Question& operator=(const Question&) = delete;
  virtual ~Question() = default;

  virtual const QuestionKind& kind() const = 0;
  virtual std::size_t section() const = 0;  // among the sections of its kind
  virtual std::string key() const = 0;      // empty when the kind is not keyed
  virtual std::string logName() const = 0;
  virtual std::string outcome() const = 0;  // of the answer, for the access log
  // Whether the answer says that something stood in the way of what may be there.
  virtual bool isRefused() const = 0;

  virtual void askLive() = 0;
  // Writes the answer; null, as it comes, is for one that the machine does not tell.
  virtual void write(Json& json) const = 0;
  virtual void read(const CaptureValue& value) = 0;
  // Takes the answer of another question of this kind.
  virtual void take(const Question& other) = 0;
  virtual std::unique_ptr<Question> clone() const = 0;

 protected:
  Question(const Question&) = default;
};

// A key of which a capture knows nothing may carry what only a live machine needs.
struct NoKey {};

// What most questions have in common. A kind of question derives from it, adds
//   static constexpr const char* kSections[];
//   static constexpr const char* kLogName;              or logName()
//   static Answer live(const Key& key);                 asks the machine that this process runs on
//   static void write(Json& json, const Answer& answer);
//   static Answer read(const CaptureValue& value);
// and defines anew what is different with it. An answer made of nothing says that the machine does
// not tell.
template <class AnswerType, class KeyType = NoKey>
struct PlainQuestion {
  using Answer = AnswerType;
  using Key = KeyType;

  static constexpr bool kIsAlwaysAnswered = false;

  static std::size_t section(const Key&) { return 0; }
  static std::string keyName(const Key&) { return {}; }
  static std::string readKey(const std::string& name, const CaptureValue&) { return name; }
  static std::string outcome(const Answer& answer) { return answer ? "ok" : "not available"; }
  static bool isRefused(const Answer&) { return false; }
};

template <class Kind>
class Asked;

// The sections of a kind, and how it is read.
template <class Kind>
inline constexpr QuestionKind kKindOf = {
    Kind::kSections, !std::is_base_of_v<NoKey, typename Kind::Key>, Kind::kIsAlwaysAnswered,
    Kind::readKey, []() -> std::unique_ptr<Question> { return std::make_unique<Asked<Kind>>(); }};

template <class Kind>
class Asked : public Question {
 public:
  using Key = typename Kind::Key;
  using Answer = typename Kind::Answer;

  explicit Asked(Key key = {}, Answer given = {})
      : answer(std::move(given)), key_(std::move(key)) {}

  const QuestionKind& kind() const override { return kKindOf<Kind>; }
  std::size_t section() const override { return Kind::section(key_); }
  std::string key() const override { return Kind::keyName(key_); }
  std::string logName() const override {
    if constexpr (requires { Kind::logName(key_); }) {
      return Kind::logName(key_);
    } else {
      return Kind::kLogName;
    }
  }
  std::string outcome() const override { return Kind::outcome(answer); }
  bool isRefused() const override { return Kind::isRefused(answer); }
  void askLive() override { answer = Kind::live(key_); }
  void write(Json& json) const override { Kind::write(json, answer); }
  void read(const CaptureValue& value) override { answer = Kind::read(value); }
  void take(const Question& other) override { answer = static_cast<const Asked&>(other).answer; }
  std::unique_ptr<Question> clone() const override { return std::make_unique<Asked>(*this); }

  Answer answer;

 private:
  Key key_;
};

}  // namespace invscan
