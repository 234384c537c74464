// Every file that agent and library write, so that another user of the machine gains nothing by
// what he puts in its way. Places are held by descriptors: what becomes of a path meanwhile does
// not matter.
#pragma once

#include <sys/types.h>

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/Descriptor.h"

namespace invscan {

// Why a file or directory is not written to, in plain words.
struct WriteError : std::runtime_error {
  explicit WriteError(int number);  // what the system said
  using std::runtime_error::runtime_error;

  int error = 0;  // the system's, if it said so
};

// A name in a directory that is held open.
struct Place {
  Descriptor directory;
  std::string name;
};

// Where a path leads, whether or not something is there. Links are followed that belong to the user
// or root, but none in a directory where others can make some; the last one only when asked to.
// Throws WriteError.
Place placeOf(std::string path, bool followsLast = true);

// Writes to what is there. A regular file is replaced, whole or not at all, and keeps owner and
// access rights; one that is made gets those of the mode that the umask leaves. A device or FIFO
// has to belong to the user or root, and is never waited for beyond a few seconds. Throws
// WriteError.
void writeFile(const Place& place, std::string_view text, mode_t mode);

// A file that is being written under a name of its own beside its place. Gone unless it was put
// there. Throws WriteError.
class NewFile {
 public:
  NewFile(const Place& place, mode_t mode);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  int descriptor() const { return file_.get(); }
  void write(std::string_view text);

  // Where there is nothing yet. The name that it was written under goes with this object.
  void putInFreePlace();
  void putInPlace();

 private:
  const Place& place_;
  const std::string name_;
  Descriptor file_;
  bool isInPlace_ = false;
};

// A file of the user's own to add to: a regular one with one name, made for him alone where there
// is none. It is no link, and is not waited for. Throws WriteError.
Descriptor openOwnFile(const std::string& path);

// The directory that a path names, which belongs to the user, and where nobody else may write.
// Throws WriteError.
Descriptor openOwnDirectory(const std::string& path);

// An empty one, made for him alone where there is none. What is in it goes with this object, and it
// too if it was made, unless it is kept. Throws WriteError.
class NewDirectory {
 public:
  explicit NewDirectory(const std::string& path);
  ~NewDirectory();
  NewDirectory(const NewDirectory&) = delete;
  NewDirectory& operator=(const NewDirectory&) = delete;

  const Descriptor& descriptor() const { return directory_; }
  void keep() { isKept_ = true; }

 private:
  const Place place_;
  const bool isMade_;
  Descriptor directory_;
  bool isKept_ = false;
};

// What is in a directory, in no order. Throws WriteError.
std::vector<std::string> namesIn(const Descriptor& directory);

// Removes what is in a directory, as far as it can.
void removeContents(const Descriptor& directory);

}  // namespace invscan
