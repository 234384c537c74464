#include "invscan/machine/questions/HardwareDatabase.h"

#include <dlfcn.h>
#include <libudev.h>
#include <locale.h>

#include <mutex>

#include <nlohmann/json.hpp>

namespace invscan {
namespace {

// While it stands, characters are bytes to this thread. The database's patterns are matched by
// fnmatch(), which in the locale of a host would make wide characters of each of them first.
class PlainCharacters {
 public:
  PlainCharacters()
      : plain_(newlocale(LC_ALL_MASK, "C", nullptr)),
        before_(plain_ ? uselocale(plain_) : nullptr) {}
  PlainCharacters(const PlainCharacters&) = delete;
  PlainCharacters& operator=(const PlainCharacters&) = delete;
  ~PlainCharacters() {
    if (!plain_) return;
    uselocale(before_);
    freelocale(plain_);
  }

 private:
  locale_t plain_, before_;
};

// The library is loaded by the first question rather than at the start of every process: few scans
// ask one, and a machine without udev is scanned all the same. It stays loaded.
class Database {
 public:
  Database() {
    void* library = dlopen("libudev.so.1", RTLD_NOW | RTLD_LOCAL);
    const bool isWhole = library && load(library, "udev_new", new_) &&
                         load(library, "udev_hwdb_new", newHwdb_) &&
                         load(library, "udev_hwdb_get_properties_list_entry", properties_) &&
                         load(library, "udev_list_entry_get_next", next_) &&
                         load(library, "udev_list_entry_get_name", name_) &&
                         load(library, "udev_list_entry_get_value", value_);
    context_ = isWhole ? new_() : nullptr;
    if (context_) database_ = newHwdb_(context_);
  }

  HardwareProperties find(const std::string& alias) const {
    HardwareProperties found;
    if (!database_) return found;
    auto* entry = properties_(database_, alias.c_str(), 0);
    for (; entry; entry = next_(entry)) {
      const char* name = name_(entry);
      const char* value = value_(entry);
      if (name && value) found.emplace(name, value);
    }
    return found;
  }

 private:
  template <class Function>
  static bool load(void* library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(dlsym(library, name));
    return function != nullptr;
  }

  decltype(&udev_new) new_ = nullptr;
  decltype(&udev_hwdb_new) newHwdb_ = nullptr;
  decltype(&udev_hwdb_get_properties_list_entry) properties_ = nullptr;
  decltype(&udev_list_entry_get_next) next_ = nullptr;
  decltype(&udev_list_entry_get_name) name_ = nullptr;
  decltype(&udev_list_entry_get_value) value_ = nullptr;
  // Both stay to the end of the process.
  udev* context_ = nullptr;
  udev_hwdb* database_ = nullptr;
};

}  // namespace

HardwareProperties HardwareQuestion::live(const std::string& alias) {
  static std::mutex mutex;  // a handle is for one thread at a time
  const std::lock_guard lock(mutex);
  const PlainCharacters plain;
  static const auto* database = new Database;
  return database->find(alias);
}

std::string HardwareQuestion::outcome(const HardwareProperties& properties) {
  return properties.empty() ? "nothing known of it" : "ok";
}

void HardwareQuestion::write(Json& json, const HardwareProperties& properties) {
  if (!properties.empty()) json = properties;
}

HardwareProperties HardwareQuestion::read(const CaptureValue& value) {
  HardwareProperties properties;
  value.forEachMember([&](const std::string& name, const CaptureValue& member) {
    properties.emplace(name, member.text());
  });
  return properties;
}

}  // namespace invscan
