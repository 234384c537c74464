// Values of JSON as records.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include "agent/scan/Scan.h"

namespace invscan::agent {

using Scalar = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string>;

// The type of a value of which the catalogue knows nothing.
unsigned long typeOfStranger(const Scalar& value);

// Of a number, and of null, which stands for what is infinite or undefined; none for others.
std::optional<double> realIn(const Scalar& value);

// Null for a value that is not of the type. A token stands for a sensitive value of any.
Record recordOf(unsigned long attribId, unsigned long type, const Scalar& value);

// Seconds since the epoch, of "2026-11-21T06:24:00Z"; none when it is no such time.
std::optional<long> secondsIn(const std::string& text);

// Writes it as JSON again.
void appendScalar(std::string& json, const Scalar& value);

}  // namespace invscan::agent
