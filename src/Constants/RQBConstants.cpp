// The exported constants as C strings, for C and C++ hosts.
#include "RQBehavior/RQBConstants.h"

#include "Constants/RQBConstantTexts.h"

const double RQBehaviorVersionNumber = RQB_VERSION_NUMBER;
const unsigned char RQBehaviorVersionString[] = RQB_VERSION_STRING;

#define RQB_DEFINE_TEXT(name, text) const char* const name = text;
RQB_CONSTANT_TEXTS(RQB_DEFINE_TEXT)
#undef RQB_DEFINE_TEXT

#define RQB_DEFINE_WRITABLE_TEXT(name, text) const char* name = text;
RQB_WRITABLE_CONSTANT_TEXTS(RQB_DEFINE_WRITABLE_TEXT)
#undef RQB_DEFINE_WRITABLE_TEXT
