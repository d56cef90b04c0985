#pragma once

// Many values through one rule, and what holds for every keyed function.

#include "support.h"

#include <random>

namespace velk::test {

struct Column {
    std::string type = ""; // text
    std::int32_t length = 0;
};

// One outcome for each value, all with one provider.
std::vector<Outcome> mask_all(const std::string& rule, const std::string& arguments,
                              const std::vector<std::u16string>& values, const Column& column = {},
                              const std::string& key = "VELK_TEST_KEY");

// The same where no value may be in error.
std::vector<std::u16string> results(const std::string& rule, const std::string& arguments,
                                    const std::vector<std::u16string>& values, const Column& column = {},
                                    const std::string& key = "VELK_TEST_KEY");

// Every value must be refused with the code, and nothing of it be left.
void expect_errors(const std::string& rule, const std::string& arguments,
                   const std::vector<std::u16string>& values, ErrorCode code, const Column& column = {});

// The rule must be refused at the start, the advice of the message contain the text.
void expect_rule_refused(const std::string& rule, const std::string& arguments, ErrorCode code,
                         const std::u16string& advice = u"", const Column& column = {});

// Same values, key and scope give the same results, anything else gives others; null and empty stay.
void expect_keyed(const std::string& rule, const std::string& arguments,
                  const std::vector<std::u16string>& values, const Column& column = {});

std::u16string to_text(std::uint64_t number, std::size_t digits = 1); // with leading zeros

// How far counts are from being equal, by Pearson's test: more than the limit for so many degrees of freedom
// is reached by chance once in 100,000 times.
double chi_square(const std::vector<std::size_t>& counts);
double chi_square_limit(std::size_t freedom);
std::u16string random_digits(std::mt19937& random, std::size_t count);

} // namespace velk::test
