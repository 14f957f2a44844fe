// A class of the exported surface with no members; nothing refers to it.
#pragma once

#include "RQBehavior/RQBExport.h"

class RQB_EXPORT RQBErrorCollection {};
