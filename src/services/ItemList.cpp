#include "services/ItemList.h"

#include <algorithm>

#include "base/RuntimeError.h"

namespace bkfd {

Variant ItemParam::Invoke(TextView name, std::span<Variant> arguments) {
    if (name == u"Name" && arguments.empty()) return name_;
    if (name == u"Values" && arguments.empty()) return values_;
    if (name == u"Values" && arguments.size() == 1) return values_->Item(arguments[0]);
    return Object::Invoke(name, arguments);
}

ItemParam& ValueBag::Add(const Text& name, Variant value) {
    if (Exists(name)) throw RuntimeError(ErrorNumber::KeyAlreadyAssociated);
    auto param = std::make_shared<ItemParam>(name);
    param->Values().Add(std::move(value));
    return *params_.emplace_back(std::move(param));
}

const std::shared_ptr<ItemParam>& ValueBag::Item(TextView name) const {
    const auto found = std::ranges::find_if(
        params_, [&](const auto& param) { return EqualsIgnoreCase(param->Name(), name); });
    if (found == params_.end()) throw RuntimeError(ErrorNumber::InvalidProcedureCall);
    return *found;
}

bool ValueBag::Exists(TextView name) const {
    return std::ranges::any_of(
        params_, [&](const auto& param) { return EqualsIgnoreCase(param->Name(), name); });
}

Variant ValueBag::Invoke(TextView name, std::span<Variant> arguments) {
    if (name == u"Item" && arguments.size() == 1) return Item(arguments[0].AsText());
    if (name == u"Exists" && arguments.size() == 1) {
        return static_cast<std::int16_t>(Exists(arguments[0].AsText()) ? -1 : 0);
    }
    return Object::Invoke(name, arguments);
}

ItemNode& ItemList::Add() {
    return *nodes_.emplace_back(std::make_shared<ItemNode>());
}

Variant ItemNode::Invoke(TextView name, std::span<Variant> arguments) {
    if (name == u"Id") {
        if (arguments.empty()) return Id;
        if (arguments.size() == 1) {
            Id = arguments[0].AsText();
            return {};
        }
    }
    if (name == u"params" && arguments.empty()) return Params();
    if (name == u"params" && arguments.size() == 1) return Params()->Item(arguments[0].AsText());
    return Object::Invoke(name, arguments);
}

const ItemList& Walk(const std::shared_ptr<ItemList>& list) {
    if (list == nullptr) throw RuntimeError(ErrorNumber::ObjectNotSet);
    return *list;
}

}  // namespace bkfd
