// Root of the platform layer's polymorphic classes.
#pragma once

#include <invscan/base/String.h>
#include <invscan/export.h>

// Derived classes inherit these four operations, in this slot order behind the destructor.
class INVSCAN_EXPORT Object {
 public:
  Object() = default;
  virtual ~Object();

  // A copy that the caller deletes; null for an object that cannot be copied, which is the default.
  virtual Object* clone() const;
  // Identity unless a class says otherwise.
  virtual bool equals(const Object* other) const;
  virtual unsigned long hashCode() const;
  // A short text for traces; not meant to be parsed.
  virtual String toString() const;

 protected:
  Object(const Object&) = default;
  Object& operator=(const Object&) = default;
};
