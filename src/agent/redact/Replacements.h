// Finds sensitive values in text and bytes, and puts others in their place.
#pragma once

#include <bitset>
#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>

#include "agent/redact/Addresses.h"
#include "agent/redact/MountNames.h"
#include "agent/redact/Redactor.h"
#include "agent/scan/Scan.h"

namespace invscan::agent {

// Values are known by what was learnt; hardware and IPv6 addresses and UUIDs by their form, too.
// Case does not matter anywhere. Placeholders (Placeholders.h) are no values.
class Replacements {
 public:
  explicit Replacements(const Redactor& redactor);
  // Knows what is sensitive in the scan.
  Replacements(const Scan& scan, const Redactor& redactor);

  // From now on a value is sensitive wherever it stands: a whole word, or a part of one when it has
  // eight characters and a digit. One that is shorter than four, or a number shorter than six, is
  // replaced only where it stands as such a value (inValue, inField).
  void add(std::string_view value);
  // The same of a UUID, and of an address in network order.
  void addUuid(std::string_view bytes);
  void addAddress(std::string_view bytes);
  // The same of the first label of a host's name, and of its domain.
  void addHost(std::string_view name);
  // The same of the addresses in a text, also those that no value is: of neighbours and networks.
  // The second takes IPv6 addresses in 32 digits.
  void learn(std::string_view listing);
  void learnDigits(std::string_view listing);

  // What is sensitive in a text becomes tokens, and addresses others of their kind (Addresses.h).
  std::string inText(std::string_view text);

  // The whole text, which stands where a sensitive value does, becomes its token; blanks around it
  // and placeholders stay.
  std::string inValue(std::string_view text);
  // The same, with as many characters as before.
  std::string inField(std::string_view text);

  // A host's name: a token for its first label and one for its domain.
  std::string inHost(std::string_view name);

  // The path of a file, whose parts may be words of the system that somebody chose as a name: these
  // count only where they are a whole part.
  std::string inPath(std::string_view path);

  // Something mounted, or where (MountNames.h).
  std::string inMountName(std::string_view name);
  // A table of mounts or swap areas: names in it become what they are in scans, and count as
  // sensitive from then on.
  std::string inMounts(std::string_view text, MountTable table);

  // With as many bytes as before: words become digits of their tokens, and UUIDs, in either order
  // of bytes, and hardware and IPv6 addresses in network order become others.
  std::string inBytes(std::string_view bytes);

  // A UUID in bytes becomes another one, unless it is of nobody.
  std::string inUuid(std::string_view bytes);

  // The name of a device in bytes becomes another one of its kind, which its first digit tells.
  std::string inName(std::string_view bytes);

  // An address in network order, sensitive or not, becomes another one unless it tells nothing;
  // none when it is of no address's size.
  std::optional<std::string> inAddress(std::string_view bytes);

  std::size_t count() const { return count_; }

 private:
  struct Word {
    std::string token;
    std::optional<Address> address;  // in place of the token
    bool isAnywhere = false;         // in other words, too
    bool isInPaths = true;           // in parts of paths
  };
  using Words = std::map<std::string, Word, std::less<>>;  // by the text in lower case
  using Bytes = std::map<std::string, std::string, std::less<>>;

  // A part of a text that is replaced; of no length when nothing is.
  struct Find {
    std::size_t length = 0;
    const Word* word = nullptr;
    std::optional<Address> address{};
    std::size_t kept = 0;  // characters in front of the address
  };

  void addPath(const std::string& path);
  void addWord(std::string_view text, const Word& word);
  void addSpelledUuid(const std::string& text);
  void addAddress(const std::string& text, const Address& address);
  // The longest word that begins at a place of a text in lower case and may stand there.
  Words::const_iterator longestWordAt(std::string_view lower, std::size_t place) const;
  Find findAt(std::string_view lower, std::size_t place) const;
  Find formAt(std::string_view lower, std::size_t place) const;
  // Calls replace(found, original) for all that is found.
  template <class Replace>
  std::string replaceAll(std::string_view text, Replace replace) const;
  std::string replaced(const Find& found, std::string_view original) const;
  Bytes::const_iterator bytesAt(std::string_view bytes) const;

  const Redactor& redactor_;
  Words words_;
  std::bitset<1 << 16> beginnings_;              // the first two characters of words
  Bytes bytes_;                                  // addresses and UUIDs
  std::set<std::size_t, std::greater<>> sizes_;  // of those
  std::unordered_map<std::string, std::string>
      substitutes_;  // of all addresses that were asked for, as bytes
  std::size_t count_ = 0;
};

}  // namespace invscan::agent
