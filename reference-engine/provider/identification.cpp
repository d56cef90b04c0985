// What a loader finds in the bytes of the library's file, to tell which engine it is.

namespace velk::engine {

#if defined(__ELF__)
[[gnu::retain]] // nothing refers to it, and the linker drops what nothing refers to
#endif
[[gnu::used]] static const char identification[] = "@(#)VELK reference engine " VELK_VERSION;

} // namespace velk::engine
