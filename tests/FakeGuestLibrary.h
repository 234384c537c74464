// What a test tells the fake guest library, and what it hears of it. Nothing of the C++ library's
// is in it, as parts of that are never unloaded.
#pragma once

#include <cstdint>

struct FakeGuestLibrary {
  char calls[64];   // a letter each: OUSHRLCX, in the order that they are expected in
  char failing[8];  // those that fail, each with the place of its letter, from 0, as a bit
  std::uint64_t session;
  bool hasTexts;
};
