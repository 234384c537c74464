// MD5 digests as the scanner uses them: to tell things apart, never to keep a secret.
//
// The digest of a text is 32 lower-case hexadecimal digits:
//   char* digest = md5_checksum("abc");  // "900150983cd24fb0d6963f7d28e17f72"
//   free(digest);
// or, piece by piece:
//   md5file sum;
//   char digest[33];
//   md5file_clear(&sum);
//   md5file_add(&sum, "a");
//   md5file_addn(&sum, "bc", 2);
//   md5file_sprint_hash(&sum, digest);
#pragma once

#include <cstddef>

#include <invscan/export.h>

extern "C" {

// A sum in the making. It owns nothing, so it may be copied and dropped at any point.
struct md5file {
  unsigned long long state[11];
};

// Begins a sum, or begins it anew: to be called before anything else.
INVSCAN_EXPORT void md5file_clear(md5file* sum);

// Adds a text without its terminator; null adds nothing.
INVSCAN_EXPORT void md5file_add(md5file* sum, const char* text);

// Adds that many bytes.
INVSCAN_EXPORT void md5file_addn(md5file* sum, const void* bytes, std::size_t count);

// Writes the 16 bytes of the digest of all that was added so far. More may be added afterwards.
INVSCAN_EXPORT void md5file_hash(const md5file* sum, unsigned char* digest);

// Writes the digest as 32 hexadecimal digits and a terminator.
INVSCAN_EXPORT void md5file_sprint_hash(const md5file* sum, char* text);

// The digest of a text (null counts as empty) as a new text that the caller releases with free();
// null when there is no memory.
INVSCAN_EXPORT char* md5_checksum(const char* text);

}  // extern "C"
