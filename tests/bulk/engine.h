#pragma once

// The reference engine as the lane meets it, and the same rows masked without a lane: each alone, by records
// of its own made one by one.
//
//     Service service("service=s key=env:VELK_TEST_KEY name=hash note=keep");
//     OpenLane opened(service);
//     EXPECT_EQ(mask_alone(service, {"Anna", std::nullopt})[1].text, std::nullopt);

#include "bulk/service.h"

#include <functional>
#include <memory>
#include <optional>

namespace velk::bulk::test {

using Text = std::optional<std::string>; // UTF-8; nothing: null

struct Outcome {
    Text text;
    std::int32_t error = 0;
    bool operator==(const Outcome&) const = default;
};

// What becomes of a row, told as the Java face tells it: a value that cannot be sent is refused, a row in
// error without a value in error is in error as a whole.
std::vector<Outcome> mask_alone(const Service& service, const std::vector<Text>& values);

// A lane of a service. Columns of the table that the order leaves at -1 go round the engine.
class OpenLane {
public:
    explicit OpenLane(const Service& service, Text replacement = {});
    OpenLane(const Service& service, const std::vector<std::int32_t>& order, Text replacement = {});
    ~OpenLane() { close(lane); }
    OpenLane(const OpenLane&) = delete;
    OpenLane& operator=(const OpenLane&) = delete;

    Lane lane;
};

// Puts a function in the place of Provider_Service for its life: what no sound engine does.
using ServiceCall = std::function<std::int32_t(std::int32_t handle, SVCA* service, RWST* rows)>;
class FakeEngine {
public:
    explicit FakeEngine(ServiceCall call);
    ~FakeEngine();
    FakeEngine(const FakeEngine&) = delete;
    FakeEngine& operator=(const FakeEngine&) = delete;
};

// The engine's own call, for a fake that adds to it.
std::int32_t real_service(std::int32_t handle, SVCA* service, RWST* rows);

std::u16string to_utf16(const std::string& text);

} // namespace velk::bulk::test
