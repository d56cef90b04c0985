#include "engine_call.h"

#include "engine/provider.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace velk::bench {

namespace {

constexpr std::size_t buffer_units = 64;

template <typename Record> void head(Record& record, const char* eye_catcher)
{
    std::memcpy(record.eyeCatcher, eye_catcher, 4);
    record.version = record_version;
    record.length = sizeof(Record);
}

} // namespace

Framework::Framework()
{
    setenv("VELK_BENCH_KEY", "0123456789abcdef", 1);
    if (Provider_FrmwInit(nullptr) != 0) throw std::runtime_error("the framework does not start");
}

Framework::~Framework()
{
    Provider_FrmwTerm();
}

EngineCall::EngineCall(const std::string& function, const std::string& arguments, const std::string& type,
                       std::size_t length, const std::vector<std::u16string_view>& values)
    : values_(values.size() * buffer_units), buffers_(values_.size())
{
    add_operand(0, "key", "env:VELK_BENCH_KEY");
    add_operand(1, function, arguments);
    add_operand(1, "type", type);
    head(field_, "FLDA");
    field_.dataType = 6;
    field_.fieldLength = static_cast<std::int32_t>(length);
    field_.nameEncoding = utf8_name;
    name_.utf8Name = text_block("value")->utf8Text;
    field_.nameSize = 5;
    field_.nameBlock = &name_;
    head(service_, "SVCA");
    service_.operandCount = static_cast<std::uint16_t>(operands_.size());
    service_.fieldCount = 1;
    service_.firstOperand = &operands_.front();
    service_.firstField = &field_;
    for (std::size_t i = 0; i < values.size(); ++i) {
        std::copy(values[i].begin(), values[i].end(), &values_[i * buffer_units]);
        add_row(values[i], &buffers_[i * buffer_units]);
    }
    head(row_set_, "RWST");
    row_set_.rowCount = static_cast<std::int32_t>(rows_.size());
    row_set_.firstRow = &rows_.front();
    if (Provider_Init(&handle_, "bench", 5, &service_, 1) != 0)
        throw std::runtime_error("the provider does not start");
}

EngineCall::~EngineCall()
{
    Provider_Term(handle_);
}

TextBlock* EngineCall::text_block(const std::string& text)
{
    TextBlock& block = blocks_.emplace_back();
    block.utf8Text = texts_.emplace_back(text).data();
    return &block;
}

void EngineCall::add_operand(std::uint16_t column, const std::string& name, const std::string& value)
{
    OPRA* before = operands_.empty() ? nullptr : &operands_.back();
    OPRA& operand = operands_.emplace_back();
    head(operand, "OPRA");
    operand.parameterId = column;
    operand.nameType = utf8_name;
    operand.nameSize = static_cast<std::int32_t>(name.size());
    operand.PN.pWC = text_block(name);
    operand.valueType = utf8_value;
    operand.valueSize = static_cast<std::int32_t>(value.size());
    operand.PV.pWC = text_block(value);
    if (before != nullptr) before->next = &operand;
}

void EngineCall::add_row(std::u16string_view value, char16_t* buffer)
{
    if (value.size() >= buffer_units) throw std::runtime_error("a value is too long");
    ROWD* before = rows_.empty() ? nullptr : &rows_.back();
    DATA& field = fields_.emplace_back();
    head(field, "DATA");
    field.bufferSize = buffer_units * sizeof(char16_t);
    field.buffer = buffer;
    ROWD& row = rows_.emplace_back();
    head(row, "ROWD");
    row.fieldCount = 1;
    row.firstField = &field;
    if (before != nullptr) before->next = &row;
}

void EngineCall::lay_out_values()
{
    std::copy(values_.begin(), values_.end(), buffers_.begin());
}

bool EngineCall::mask()
{
    return Provider_Service(handle_, provider_service_request, &service_, &row_set_) == 0 &&
           std::all_of(rows_.begin(), rows_.end(), [](const ROWD& row) { return row.hasError == 0; });
}

} // namespace velk::bench
