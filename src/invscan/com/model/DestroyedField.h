// What a destructor leaves behind.
#pragma once

namespace invscan {

// Zeroes a field of an object whose destructor runs. Hosts look at what is left of a destroyed
// object to find out whether it is, and would use it otherwise. A plain store would be dropped,
// because the object's life ends right after it.
template <class Field>
void clearDestroyed(Field& field) {
  const_cast<volatile Field&>(field) = Field{};
}

}  // namespace invscan
