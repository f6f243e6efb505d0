#include "base/Variant.h"

#include "base/RuntimeError.h"

namespace bkfd {

bool Object::HasMember(TextView) const {
    return false;
}

Variant Object::Invoke(TextView, std::span<Variant>) {
    throw RuntimeError(ErrorNumber::MemberNotFound);
}

Text Variant::AsText() const {
    if (IsText()) return TextRef();
    if (IsObject()) throw RuntimeError(ErrorNumber::TypeMismatch);
    return IsEmpty() ? Text() : ToText(AsInteger());
}

std::int32_t Variant::AsInteger() const {
    if (IsEmpty()) return 0;
    if (const auto* narrow = std::get_if<std::int16_t>(&value_)) return *narrow;
    if (const auto* wide = std::get_if<std::int32_t>(&value_)) return *wide;
    throw RuntimeError(ErrorNumber::TypeMismatch);
}

const ObjectRef& Variant::AsObject() const {
    const auto* object = std::get_if<ObjectRef>(&value_);
    if (object == nullptr || *object == nullptr) throw RuntimeError(ErrorNumber::ObjectNotSet);
    return *object;
}

}  // namespace bkfd
