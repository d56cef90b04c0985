#pragma once

namespace velk::bulk {

// Whether the engine lets operations on different providers run at the same time. One that does says so by an
// export outside of the contract's ordinals, Provider_AllowsThreads; any other one is called by one thread at
// a time.
bool engine_allows_threads();

} // namespace velk::bulk
