#pragma once

// Definition records: what a framework and a service are started with. They are shared with the
// engine byte for byte: little-endian, 64-bit pointers, all sizes in bytes. A parent record (FRPA,
// SVCA) counts and chains its children but never owns them; an OPRA or FLDA record owns its text.

#include "records/layout.h"

namespace velk {

// The two text slots of a name or a value. 16-bit text ends with a zero unit; UTF-8 text is as long
// as the record that points here says. Only the first slot belongs to the record; a text in the
// second one belongs to whoever made it.
struct TextBlock {
    union {
        char16_t* pParmName; // of a name
        char16_t* pParamVal; // of a value
    };
    char* utf8Text;
};
VELK_FIELD(TextBlock, pParmName, 0, 8);
VELK_FIELD(TextBlock, pParamVal, 0, 8);
VELK_FIELD(TextBlock, utf8Text, 8, 8);
VELK_RECORD(TextBlock, 16);

// OPRA.nameType and FLDA.nameEncoding of a name held as 16-bit text.
inline constexpr char wide_name = 'W';
// FLDA.nameEncoding of a name held as UTF-8 text.
inline constexpr char utf8_name = 'M';

// OPRA.valueType.
inline constexpr std::int32_t integer_value = 1;
inline constexpr std::int32_t wide_value = 2;
inline constexpr std::int32_t utf8_value = 3;

// Initialisation operand: one parameter of a framework or a service, a link of their operand chain.
struct OPRA {
    OPRA* next;
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    std::uint16_t parameterId;
    char nameType; // wide_name; any other: UTF-8 text; 0 while there is no name
    std::uint8_t reserved19;
    std::int32_t nameSize; // bytes; with the terminator where the text is 16-bit
    struct {
        TextBlock* pWC; // null while there is no name
    } PN;
    std::int32_t valueType; // integer_value, wide_value, utf8_value; 0 while there is no value
    std::int32_t valueSize; // bytes, as nameSize
    union {
        TextBlock* pWC; // the first: an initialiser clears that member, and need not clear more
        std::int32_t integer;
    } PV;
};
VELK_FIELD(OPRA, next, 0, 8);
VELK_FIELD(OPRA, eyeCatcher, 8, 4);
VELK_FIELD(OPRA, version, 12, 2);
VELK_FIELD(OPRA, length, 14, 2);
VELK_FIELD(OPRA, parameterId, 16, 2);
VELK_FIELD(OPRA, nameType, 18, 1);
VELK_FIELD(OPRA, reserved19, 19, 1);
VELK_FIELD(OPRA, nameSize, 20, 4);
VELK_FIELD(OPRA, PN.pWC, 24, 8);
VELK_FIELD(OPRA, valueType, 32, 4);
VELK_FIELD(OPRA, valueSize, 36, 4);
VELK_FIELD(OPRA, PV.integer, 40, 4);
VELK_FIELD(OPRA, PV.pWC, 40, 8);
VELK_RECORD(OPRA, 48);

// Framework definition.
struct FRPA {
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    std::uint16_t operandCount; // low 16 bits of the number of operands in the chain
    std::uint8_t reserved10[6];
    OPRA* firstOperand;
};
VELK_FIELD(FRPA, eyeCatcher, 0, 4);
VELK_FIELD(FRPA, version, 4, 2);
VELK_FIELD(FRPA, length, 6, 2);
VELK_FIELD(FRPA, operandCount, 8, 2);
VELK_FIELD(FRPA, reserved10, 10, 6);
VELK_FIELD(FRPA, firstOperand, 16, 8);
VELK_RECORD(FRPA, 24);

// The two text slots of a column name.
struct NameBlock {
    char16_t* wideName; // unless FLDA.nameEncoding is utf8_name
    char* utf8Name;     // where FLDA.nameEncoding is utf8_name
};
VELK_FIELD(NameBlock, wideName, 0, 8);
VELK_FIELD(NameBlock, utf8Name, 8, 8);
VELK_RECORD(NameBlock, 16);

// Field definition: one column of a service, a link of its field chain.
struct FLDA {
    FLDA* next;
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    std::int16_t dataType;
    std::uint8_t reserved18[2];
    std::int32_t fieldLength;
    std::int32_t precision;
    std::int16_t scale;
    std::uint8_t reserved30[10];
    std::int32_t nameSize; // bytes; with the terminator where the text is 16-bit
    char nameEncoding;     // wide_name or utf8_name
    std::uint8_t reserved45[3];
    NameBlock* nameBlock;
};
VELK_FIELD(FLDA, next, 0, 8);
VELK_FIELD(FLDA, eyeCatcher, 8, 4);
VELK_FIELD(FLDA, version, 12, 2);
VELK_FIELD(FLDA, length, 14, 2);
VELK_FIELD(FLDA, dataType, 16, 2);
VELK_FIELD(FLDA, reserved18, 18, 2);
VELK_FIELD(FLDA, fieldLength, 20, 4);
VELK_FIELD(FLDA, precision, 24, 4);
VELK_FIELD(FLDA, scale, 28, 2);
VELK_FIELD(FLDA, reserved30, 30, 10);
VELK_FIELD(FLDA, nameSize, 40, 4);
VELK_FIELD(FLDA, nameEncoding, 44, 1);
VELK_FIELD(FLDA, reserved45, 45, 3);
VELK_FIELD(FLDA, nameBlock, 48, 8);
VELK_RECORD(FLDA, 56);

// Service definition.
struct SVCA {
    char eyeCatcher[4];
    std::uint16_t version;
    std::uint16_t length;
    std::uint8_t reserved8;
    std::uint8_t copyToDestination; // 1 or 0
    std::uint16_t operandCount;     // low 16 bits of the number of operands in the chain
    std::uint16_t fieldCount;       // low 16 bits of the number of fields in the chain
    std::uint8_t reserved14[10];
    OPRA* firstOperand;
    FLDA* firstField;
};
VELK_FIELD(SVCA, eyeCatcher, 0, 4);
VELK_FIELD(SVCA, version, 4, 2);
VELK_FIELD(SVCA, length, 6, 2);
VELK_FIELD(SVCA, reserved8, 8, 1);
VELK_FIELD(SVCA, copyToDestination, 9, 1);
VELK_FIELD(SVCA, operandCount, 10, 2);
VELK_FIELD(SVCA, fieldCount, 12, 2);
VELK_FIELD(SVCA, reserved14, 14, 10);
VELK_FIELD(SVCA, firstOperand, 24, 8);
VELK_FIELD(SVCA, firstField, 32, 8);
VELK_RECORD(SVCA, 40);

} // namespace velk
