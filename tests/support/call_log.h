#pragma once

// The calls that the code under test made, of JNI and of the engine, in their order, one readable
// line each:
//
//     EXPECT_EQ(without_trace(log), (CallLog{"GetLongField RowSet.pointer", "GetObjectField RowSet.rows"}));

#include <string>
#include <vector>

namespace velk::test {

using CallLog = std::vector<std::string>;

// The log so far, which is empty afterwards.
CallLog take(CallLog& log);

// The log less the calls of the trace facility.
CallLog without_trace(const CallLog& log);

// Fails the running test for a call that must not happen, showing the calls before it.
void violation(const CallLog& log, const std::string& what);

} // namespace velk::test
