#include <invscan/md5.h>

#include <cstdlib>
#include <cstring>

#include <md5.h>

static_assert(sizeof(md5file) == sizeof(MD5_CTX) && alignof(md5file) >= alignof(MD5_CTX),
              "a sum holds libmd's context");

namespace {

constexpr std::size_t kTextSize = MD5_DIGEST_STRING_LENGTH;

MD5_CTX contextOf(const md5file& sum) {
  MD5_CTX context;
  std::memcpy(&context, &sum, sizeof context);
  return context;
}

void keep(md5file& sum, const MD5_CTX& context) {
  std::memcpy(&sum, &context, sizeof sum);
}

}  // namespace

void md5file_clear(md5file* sum) {
  MD5_CTX context;
  MD5Init(&context);
  keep(*sum, context);
}

void md5file_add(md5file* sum, const char* text) {
  if (text) md5file_addn(sum, text, std::strlen(text));
}

void md5file_addn(md5file* sum, const void* bytes, std::size_t count) {
  MD5_CTX context = contextOf(*sum);
  MD5Update(&context, static_cast<const unsigned char*>(bytes), count);
  keep(*sum, context);
}

void md5file_hash(const md5file* sum, unsigned char* digest) {
  MD5_CTX context = contextOf(*sum);
  MD5Final(digest, &context);
}

void md5file_sprint_hash(const md5file* sum, char* text) {
  MD5_CTX context = contextOf(*sum);
  MD5End(&context, text);
}

char* md5_checksum(const char* text) {
  auto* digest = static_cast<char*>(std::malloc(kTextSize));
  if (!digest) return nullptr;
  md5file sum;
  md5file_clear(&sum);
  md5file_add(&sum, text);
  md5file_sprint_hash(&sum, digest);
  return digest;
}
