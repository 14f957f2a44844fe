// A class with no members; nothing refers to it.
#pragma once

class RQBErrorCollection {};
