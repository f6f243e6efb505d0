#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

namespace bkfd {

/// The members of a JSON object as text, so that those that nobody changes keep their form.
class JsonMembers {
  public:
    /// `object` is well-formed and outlives this.
    explicit JsonMembers(std::string_view object);

    /// Replaces the member's value, or adds a member behind the others.
    void Put(std::string_view name, const nlohmann::ordered_json& value);
    void Erase(std::string_view name);
    std::string Text() const;

  private:
    struct Member {
        std::string name;
        std::string indent;  // the blanks and line breaks before it
        std::string text;    // from its name on, with the blanks before a comma
    };

    std::string_view head_;  // up to the first brace
    std::vector<Member> members_;
    std::string_view tail_;  // behind the last member
};

}  // namespace bkfd
