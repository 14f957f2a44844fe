// The exported constants as NSString objects, for Objective-C and Swift
// hosts, from the table the C strings of other builds come from.
#import <RQBehavior/RQBConstants.h>

#include "Constants/RQBConstantTexts.h"

const double RQBehaviorVersionNumber = RQB_VERSION_NUMBER;
const unsigned char RQBehaviorVersionString[] = RQB_VERSION_STRING;

#define RQB_DEFINE_STRING(name, text) NSString* const name = @text;
RQB_CONSTANT_TEXTS(RQB_DEFINE_STRING)
#undef RQB_DEFINE_STRING

#define RQB_DEFINE_WRITABLE_STRING(name, text) NSString* name = @text;
RQB_WRITABLE_CONSTANT_TEXTS(RQB_DEFINE_WRITABLE_STRING)
#undef RQB_DEFINE_WRITABLE_STRING
