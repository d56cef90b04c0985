#pragma once

// The lists that `dict` takes its values from.

#include <string>
#include <string_view>
#include <vector>

namespace velk::engine {

using Entries = std::vector<std::u16string>;

// A list that is built in. Throws a Failure if there is none of that name.
Entries built_in_list(std::string_view name);

// A file in UTF-8 with an entry in each line. Throws a Failure where it is not that.
Entries list_file(std::string_view path);

} // namespace velk::engine
