#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace bkfd {

/// The options of one command, as it declares them. The variables receive what the command line
/// says before the command runs.
class CommandOptions {
  public:
    explicit CommandOptions(CLI::App& app) : app_(app) {}

    /// "--name", which makes `isSet` true.
    void AddFlag(const char* name, bool& isSet, const char* meaning);
    /// "--name PLACEHOLDER".
    void AddValue(const char* name, const char* placeholder, std::string& value,
                  const char* meaning);
    /// One or more names without an option before them.
    void AddNames(const char* placeholder, std::vector<std::string>& names, const char* meaning);
    /// Any number of names, none too.
    void AddOptionalNames(const char* placeholder, std::vector<std::string>& names,
                          const char* meaning);
    /// Exactly one name without an option before it.
    void AddName(const char* placeholder, std::string& name, const char* meaning);
    /// At most one name without an option before it.
    void AddOptionalName(const char* placeholder, std::string& name, const char* meaning);
    /// Text behind the list of options.
    void Explain(const std::string& text);

  private:
    CLI::App& app_;
};

}  // namespace bkfd
