// Everything here is defined in the header; compiling it on its own shows
// that the header stands alone.
#include "FakeDevicePlatform.h"
