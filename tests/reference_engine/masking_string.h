#pragma once

// Drives the parser and the adapter as the bridge does: two passes, one build, and the error's text.
//
//     const Parsed parsed("service=people name=keep");
//     EXPECT_EQ(parsed.code, 0);
//     EXPECT_EQ(parsed.id, "people");
//     EXPECT_EQ(message_of("service=people name=kep"), "7301 unknown function ...");

#include "engine/adapter.h"
#include "engine/parser.h"
#include "text/error_codes.h"

#include <string>
#include <string_view>
#include <vector>

namespace velk::test {

using namespace engine;

struct PairText {
    std::string key;
    std::string value;
    bool operator==(const PairText&) const = default;
};

// A request for a text, with buffers for what the first pass found once allocate is called.
class ParseRequest {
public:
    explicit ParseRequest(std::string_view text);
    ~ParseRequest();
    ParseRequest(const ParseRequest&) = delete;
    ParseRequest& operator=(const ParseRequest&) = delete;

    std::int32_t measure();
    void allocate();
    std::int32_t extract();
    std::vector<PairText> pairs() const;

    PRMA record{};
    InputDescriptor input{};

private:
    std::vector<char> text_; // exactly as long as the text, so that reading on is noticed
    std::vector<KVPA> entries_;
};

// An operand or a field as its record holds it.
struct OperandText {
    int id;
    std::string name;
    std::string value;
    bool operator==(const OperandText&) const = default;
};

struct FieldText {
    std::string name;
    std::int32_t length;
    bool operator==(const FieldText&) const = default;
};

class Parsed {
public:
    explicit Parsed(std::string_view text);
    ~Parsed(); // releases the records one by one, as Java objects that were bound to them would
    Parsed(const Parsed&) = delete;
    Parsed& operator=(const Parsed&) = delete;

    std::vector<OperandText> operands() const;
    std::vector<FieldText> fields() const;

    std::int32_t code = 0;
    std::string id;
    std::string
        message; // heading, detail and trailing part, a line feed between them; empty if all went well
    SVCA service{};

private:
    void run(std::string_view text);
};

// The parser's last error as a whole text; empty if there is none.
std::string take_message();

std::string message_of(std::string_view text);
std::vector<PairText> pairs_of(std::string_view text); // fails the test where the text cannot be parsed

} // namespace velk::test
