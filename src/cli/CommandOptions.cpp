#include "cli/CommandOptions.h"

#include <CLI/CLI.hpp>

namespace bkfd {

void CommandOptions::AddFlag(const char* name, bool& isSet, const char* meaning) {
    app_.add_flag(name, isSet, meaning);
}

void CommandOptions::AddValue(const char* name, const char* placeholder, std::string& value,
                              const char* meaning) {
    app_.add_option(name, value, meaning)->type_name(placeholder);
}

void CommandOptions::AddNames(const char* placeholder, std::vector<std::string>& names,
                              const char* meaning) {
    app_.add_option(placeholder, names, meaning)->required()->type_name("");
}

void CommandOptions::AddOptionalNames(const char* placeholder, std::vector<std::string>& names,
                                      const char* meaning) {
    app_.add_option(placeholder, names, meaning)->type_name("");
}

void CommandOptions::AddName(const char* placeholder, std::string& name, const char* meaning) {
    app_.add_option(placeholder, name, meaning)->required()->type_name("");
}

void CommandOptions::AddOptionalName(const char* placeholder, std::string& name,
                                     const char* meaning) {
    app_.add_option(placeholder, name, meaning)->type_name("");
}

void CommandOptions::Explain(const std::string& text) {
    app_.footer(text);
}

}  // namespace bkfd
