// What every Apple provider needs at the boundary between the library's C++
// and the system's Objective-C: texts, dates and exceptions. Objective-C++
// only.
#pragma once

#import <Foundation/Foundation.h>

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "RQBehavior/RQBException.h"

namespace rqb::apple {

// The UTF-8 text as a string object; nil when it is not valid UTF-8.
NSString* ToNSString(std::string_view text);

// The string's UTF-8 text; nothing for nil, and for a string that UTF-8
// cannot hold (a lone surrogate).
std::optional<std::string> ToText(NSString* string);

// The platform's description of any object (a string is its own text);
// nothing for nil.
std::optional<std::string> DescriptionText(id object);

NSDate* ToNSDate(std::chrono::system_clock::time_point time);
std::chrono::system_clock::time_point ToTimePoint(NSDate* date);

// The platform exception as the library's own: same name, same reason.
RQBException ToRQBException(NSException* exception);

// Runs `call` and returns what it returns. A platform exception raised inside
// it leaves as RQBException, which the collection run's handler catches and
// logs like any other; every provider makes its system calls through this.
template <typename Call>
decltype(auto) CallPlatform(Call&& call) {
  @try {
    return call();
  } @catch (NSException* exception) {
    throw ToRQBException(exception);
  }
}

}  // namespace rqb::apple
