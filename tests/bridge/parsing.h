#pragma once

// What the tests of parsing share: the bridge after VELK.init0 on a watched heap, and an engine whose parser
// measures and fills the pairs as told. It has no text of any error until a test gives it one.

#include "bridge/row_data.h"
#include "records/requests.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace velk::test {

inline constexpr const char16_t* default_error = u"parseVELKSyntaxString VELKParseParameters failed";
inline constexpr const char* default_error_utf8 = "parseVELKSyntaxString VELKParseParameters failed";

class ParsingTest : public RowDataTest {
protected:
    ParsingTest()
    {
        engine.Parser_ParseParameters = [this](PRMA* request) {
            if (request->extractionMode == 'A') return 0;
            request->pairCount = pairs;
            request->keySize = key_bytes;
            request->valueSize = value_bytes;
            return 0;
        };
        engine.message.status = 9;
    }

    // Makes the extraction pass do something else.
    template <class Extract> void extract_by(Extract extract)
    {
        engine.Parser_ParseParameters = [measure = engine.Parser_ParseParameters, extract](PRMA* request) {
            return request->extractionMode == 'A' ? extract(request) : measure(request);
        };
    }

    // The heap holds blocks of exactly these sizes, in the order they were made; they are freed here.
    void expect_kept(const std::vector<std::size_t>& sizes)
    {
        EXPECT_EQ(heap.sizes(), sizes);
        for (const Allocation& block : heap.held()) std::free(block.address);
    }

    // What the parser measures.
    std::int32_t pairs = 2;
    std::int32_t key_bytes = 24;
    std::int32_t value_bytes = 40;
};

template <class Value> Value value_at(const void* record, std::size_t offset)
{
    Value value;
    std::memcpy(&value, static_cast<const char*>(record) + offset, sizeof value);
    return value;
}

inline void set_error_text(std::u16string_view text)
{
    text.copy(error_text, text.size());
    error_text[text.size()] = 0;
}

// A search for an error's text that finds none at the parser.
inline CallLog fallback_calls(std::int32_t code)
{
    return {"Parser_GetErrorInfoSize", "Provider_GetErrorMessage " + std::to_string(code)};
}

} // namespace velk::test
