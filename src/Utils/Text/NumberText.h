// Numbers written the way the platform describes a boxed number.
#pragma once

#include <string>

namespace rqb {

// A double as the platform's number description writes it: printf's "%0.16g"
// in the C locale, whatever locale the host has set. 65.0 gives "65", 68.32
// gives "68.31999999999999", 1e20 gives "1e+20", NaN gives "nan".
std::string DoubleDescription(double value);

// The same text written through a stream fixed to the classic locale: what
// DoubleDescription() uses where the standard library has no floating-point
// to_chars (the iOS SDK's libc++).
std::string DoubleDescriptionThroughStream(double value);

}  // namespace rqb
