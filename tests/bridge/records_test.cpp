// The native records as the engine sees them: each field's place and size in bytes. The engine reads and
// writes these bytes, so a record that is laid out otherwise destroys data.

#include "records/definitions.h"
#include "records/requests.h"
#include "records/rowdata.h"
#include "records/trace.h"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace velk {

namespace {

// A byte of the record for each byte that the field covers: 'x', else '.'.
template <class Record, class Field> std::string place_of(Field Record::* field)
{
    alignas(Record) std::array<unsigned char, sizeof(Record)> bytes{};
    auto* record = reinterpret_cast<Record*>(bytes.data());
    std::memset(static_cast<void*>(&(record->*field)), 0xFF, sizeof(Field));
    std::string place;
    for (const unsigned char byte : bytes) place += byte == 0xFF ? 'x' : '.';
    return place;
}

std::string bytes_at(std::size_t offset, std::size_t width, std::size_t size)
{
    return std::string(offset, '.') + std::string(width, 'x') + std::string(size - offset - width, '.');
}

TEST(Records, FieldsOfTheFrameworkDefinitionStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&FRPA::eyeCatcher), bytes_at(0, 4, 24));
    EXPECT_EQ(place_of(&FRPA::version), bytes_at(4, 2, 24));
    EXPECT_EQ(place_of(&FRPA::length), bytes_at(6, 2, 24));
    EXPECT_EQ(place_of(&FRPA::operandCount), bytes_at(8, 2, 24));
    EXPECT_EQ(place_of(&FRPA::firstOperand), bytes_at(16, 8, 24));
}

TEST(Records, FieldsOfTheServiceDefinitionStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&SVCA::eyeCatcher), bytes_at(0, 4, 40));
    EXPECT_EQ(place_of(&SVCA::version), bytes_at(4, 2, 40));
    EXPECT_EQ(place_of(&SVCA::length), bytes_at(6, 2, 40));
    EXPECT_EQ(place_of(&SVCA::copyToDestination), bytes_at(9, 1, 40));
    EXPECT_EQ(place_of(&SVCA::operandCount), bytes_at(10, 2, 40));
    EXPECT_EQ(place_of(&SVCA::fieldCount), bytes_at(12, 2, 40));
    EXPECT_EQ(place_of(&SVCA::firstOperand), bytes_at(24, 8, 40));
    EXPECT_EQ(place_of(&SVCA::firstField), bytes_at(32, 8, 40));
}

TEST(Records, FieldsOfTheInitializationOperandStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&OPRA::next), bytes_at(0, 8, 48));
    EXPECT_EQ(place_of(&OPRA::eyeCatcher), bytes_at(8, 4, 48));
    EXPECT_EQ(place_of(&OPRA::version), bytes_at(12, 2, 48));
    EXPECT_EQ(place_of(&OPRA::length), bytes_at(14, 2, 48));
    EXPECT_EQ(place_of(&OPRA::parameterId), bytes_at(16, 2, 48));
    EXPECT_EQ(place_of(&OPRA::nameType), bytes_at(18, 1, 48));
    EXPECT_EQ(place_of(&OPRA::nameSize), bytes_at(20, 4, 48));
    EXPECT_EQ(place_of(&OPRA::PN), bytes_at(24, 8, 48));
    EXPECT_EQ(place_of(&OPRA::valueType), bytes_at(32, 4, 48));
    EXPECT_EQ(place_of(&OPRA::valueSize), bytes_at(36, 4, 48));
    EXPECT_EQ(place_of(&OPRA::PV), bytes_at(40, 8, 48));
}

TEST(Records, AnIntegerValueStandsInTheFirstFourBytesOfTheValue)
{
    OPRA record{};
    record.PV.integer = -1;
    std::array<unsigned char, 8> bytes;
    std::memcpy(bytes.data(), reinterpret_cast<const char*>(&record) + 40, 8);
    EXPECT_EQ(bytes, (std::array<unsigned char, 8>{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}));
}

TEST(Records, FieldsOfATextBlockStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&TextBlock::pParmName), bytes_at(0, 8, 16));
    EXPECT_EQ(place_of(&TextBlock::pParamVal), bytes_at(0, 8, 16));
    EXPECT_EQ(place_of(&TextBlock::utf8Text), bytes_at(8, 8, 16));
    EXPECT_EQ(place_of(&NameBlock::wideName), bytes_at(0, 8, 16));
    EXPECT_EQ(place_of(&NameBlock::utf8Name), bytes_at(8, 8, 16));
}

TEST(Records, FieldsOfTheFieldDefinitionStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&FLDA::next), bytes_at(0, 8, 56));
    EXPECT_EQ(place_of(&FLDA::eyeCatcher), bytes_at(8, 4, 56));
    EXPECT_EQ(place_of(&FLDA::version), bytes_at(12, 2, 56));
    EXPECT_EQ(place_of(&FLDA::length), bytes_at(14, 2, 56));
    EXPECT_EQ(place_of(&FLDA::dataType), bytes_at(16, 2, 56));
    EXPECT_EQ(place_of(&FLDA::fieldLength), bytes_at(20, 4, 56));
    EXPECT_EQ(place_of(&FLDA::precision), bytes_at(24, 4, 56));
    EXPECT_EQ(place_of(&FLDA::scale), bytes_at(28, 2, 56));
    EXPECT_EQ(place_of(&FLDA::nameSize), bytes_at(40, 4, 56));
    EXPECT_EQ(place_of(&FLDA::nameEncoding), bytes_at(44, 1, 56));
    EXPECT_EQ(place_of(&FLDA::nameBlock), bytes_at(48, 8, 56));
}

TEST(Records, FieldsOfTheRowSetStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&RWST::eyeCatcher), bytes_at(0, 4, 24));
    EXPECT_EQ(place_of(&RWST::version), bytes_at(4, 2, 24));
    EXPECT_EQ(place_of(&RWST::length), bytes_at(6, 2, 24));
    EXPECT_EQ(place_of(&RWST::rowCount), bytes_at(8, 4, 24));
    EXPECT_EQ(place_of(&RWST::firstRow), bytes_at(16, 8, 24));
}

TEST(Records, FieldsOfTheRowStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&ROWD::next), bytes_at(0, 8, 32));
    EXPECT_EQ(place_of(&ROWD::eyeCatcher), bytes_at(8, 4, 32));
    EXPECT_EQ(place_of(&ROWD::version), bytes_at(12, 2, 32));
    EXPECT_EQ(place_of(&ROWD::length), bytes_at(14, 2, 32));
    EXPECT_EQ(place_of(&ROWD::reserved16), bytes_at(16, 1, 32));
    EXPECT_EQ(place_of(&ROWD::hasError), bytes_at(17, 1, 32));
    EXPECT_EQ(place_of(&ROWD::fieldCount), bytes_at(18, 2, 32));
    EXPECT_EQ(place_of(&ROWD::firstField), bytes_at(24, 8, 32));
}

TEST(Records, FieldsOfTheFieldStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&DATA::next), bytes_at(0, 8, 56));
    EXPECT_EQ(place_of(&DATA::eyeCatcher), bytes_at(8, 4, 56));
    EXPECT_EQ(place_of(&DATA::version), bytes_at(12, 2, 56));
    EXPECT_EQ(place_of(&DATA::length), bytes_at(14, 2, 56));
    EXPECT_EQ(place_of(&DATA::isNull), bytes_at(16, 1, 56));
    EXPECT_EQ(place_of(&DATA::bufferSize), bytes_at(20, 4, 56));
    EXPECT_EQ(place_of(&DATA::errorCode), bytes_at(32, 4, 56));
    EXPECT_EQ(place_of(&DATA::buffer), bytes_at(40, 8, 56));
    EXPECT_EQ(place_of(&DATA::auxBuffer), bytes_at(48, 8, 56));
}

TEST(Records, FieldsOfTheMessageRequestStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&EMSG::eyeCatcher), bytes_at(0, 4, 40));
    EXPECT_EQ(place_of(&EMSG::version), bytes_at(4, 2, 40));
    EXPECT_EQ(place_of(&EMSG::length), bytes_at(6, 2, 40));
    EXPECT_EQ(place_of(&EMSG::errorCode), bytes_at(8, 4, 40));
    EXPECT_EQ(place_of(&EMSG::details), bytes_at(16, 8, 40));
    EXPECT_EQ(place_of(&EMSG::textEncoding), bytes_at(24, 1, 40));
    EXPECT_EQ(place_of(&EMSG::buffers), bytes_at(32, 8, 40));
    EXPECT_EQ(place_of(&MessageBuffers::capacity1), bytes_at(0, 4, 40));
    EXPECT_EQ(place_of(&MessageBuffers::capacity2), bytes_at(4, 4, 40));
    EXPECT_EQ(place_of(&MessageBuffers::capacity3), bytes_at(8, 4, 40));
    EXPECT_EQ(place_of(&MessageBuffers::text1), bytes_at(16, 8, 40));
    EXPECT_EQ(place_of(&MessageBuffers::text2), bytes_at(24, 8, 40));
    EXPECT_EQ(place_of(&MessageBuffers::text3), bytes_at(32, 8, 40));
}

TEST(Records, FieldsOfTheTraceContextStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&TraceContext::handle), bytes_at(0, 8, 40));
    EXPECT_EQ(place_of(&TraceContext::record), bytes_at(16, 8, 40));
    EXPECT_EQ(place_of(&TraceContext::mask), bytes_at(24, 4, 40));
    EXPECT_EQ(place_of(&TraceContext::function), bytes_at(32, 4, 40));
    EXPECT_EQ(place_of(&TraceBlock::state), bytes_at(0, 4, 24));
}

TEST(Records, FieldsOfTheTraceRecordStandInTheirPlaces)
{
    EXPECT_EQ(place_of(&TraceRecord::version), bytes_at(0, 4, 456));
    EXPECT_EQ(place_of(&TraceRecord::length), bytes_at(4, 4, 456));
    EXPECT_EQ(place_of(&TraceRecord::flags), bytes_at(32, 4, 456));
    EXPECT_EQ(place_of(&TraceRecord::event), bytes_at(40, 4, 456));
    EXPECT_EQ(place_of(&TraceRecord::level), bytes_at(44, 4, 456));
    EXPECT_EQ(place_of(&TraceRecord::line), bytes_at(48, 4, 456));
    EXPECT_EQ(place_of(&TraceRecord::function), bytes_at(52, 4, 456));
    EXPECT_EQ(place_of(&TraceRecord::items), bytes_at(56, 112, 456));
    EXPECT_EQ(place_of(&TraceRecord::labels), bytes_at(248, 119, 456));
    EXPECT_EQ(place_of(&TraceItem::length), bytes_at(0, 4, 16));
    EXPECT_EQ(place_of(&TraceItem::type), bytes_at(4, 4, 16));
    EXPECT_EQ(place_of(&TraceItem::slot), bytes_at(8, 8, 16));
}

} // namespace
} // namespace velk
