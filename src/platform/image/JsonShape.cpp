#include "platform/image/JsonShape.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "platform/image/ImageJson.h"

namespace bkfd {
namespace {

/// Is told each part of a text in turn, and wants all of them.
class ShapeReader final : public nlohmann::json_sax<ImageJson> {
  public:
    JsonShape shape;

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool start_object(std::size_t) override { return Begin(); }
    bool end_object() override { return End(); }
    bool start_array(std::size_t) override { return Begin(); }
    bool end_array() override { return End(); }
    bool key(string_t& name) override {
        if (!names_.back().insert(name).second && shape.repeated.empty()) shape.repeated = name;
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const ImageJson::exception&) override {
        return false;
    }

  private:
    bool Begin() {
        names_.emplace_back();
        shape.depth = std::max(shape.depth, names_.size());
        return true;
    }
    bool End() {
        names_.pop_back();
        return true;
    }

    std::vector<std::unordered_set<std::string>> names_;  // of what is around the place
};

}  // namespace

JsonShape ShapeOf(std::string_view json) {
    ShapeReader reader;
    (void)ImageJson::sax_parse(json, &reader);
    return reader.shape;
}

}  // namespace bkfd
