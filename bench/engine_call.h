#pragma once

// A column as it stands in the records of a call: what the engine does besides masking is measured with it.

#include "records/definitions.h"
#include "records/rowdata.h"

#include <cstddef>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace velk::bench {

// The engine's framework, with a key to mask by. Throws std::runtime_error where it does not start.
class Framework {
public:
    Framework();
    ~Framework();
    Framework(const Framework&) = delete;
    Framework& operator=(const Framework&) = delete;
};

// A provider with one column and a row set with its values, while there is a framework. Throws
// std::runtime_error where it does not start.
class EngineCall {
public:
    EngineCall(const std::string& function, const std::string& arguments, const std::string& type,
               std::size_t length, const std::vector<std::u16string_view>& values);
    ~EngineCall();
    EngineCall(const EngineCall&) = delete;
    EngineCall& operator=(const EngineCall&) = delete;

    void lay_out_values();
    bool mask(); // whether every value was masked

private:
    void add_operand(std::uint16_t column, const std::string& name, const std::string& value);
    TextBlock* text_block(const std::string& text);
    void add_row(std::u16string_view value, char16_t* buffer);

    std::deque<std::string> texts_;
    std::deque<TextBlock> blocks_;
    std::deque<OPRA> operands_;
    NameBlock name_{};
    FLDA field_{};
    SVCA service_{};
    std::deque<ROWD> rows_;
    std::deque<DATA> fields_;
    RWST row_set_{};
    std::vector<char16_t> values_; // as they are laid out
    std::vector<char16_t> buffers_;
    std::int32_t handle_ = 0;
};

} // namespace velk::bench
