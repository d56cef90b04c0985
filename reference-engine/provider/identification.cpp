// What a loader finds in the bytes of the library's file, to tell which engine it is.

namespace velk::engine {

[[gnu::used]] static const char identification[] = "@(#)VELK reference engine " VELK_VERSION;

} // namespace velk::engine
