// Symbol visibility for the RQBehavior library.
//
// The library is compiled with hidden visibility; RQB_EXPORT marks what a host
// may link against when RQBehavior is built as a shared library.
#pragma once

#define RQB_EXPORT __attribute__((visibility("default")))
