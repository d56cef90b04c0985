// The conversions once more with the plain loops, which stand for a machine without blocks.

#define VELK_BULK_PLAIN
#define bulk bulk_plain
#include "../../bulk/text.cpp"
