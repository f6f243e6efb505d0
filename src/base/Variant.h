#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <variant>

#include "base/Text.h"

namespace bkfd {

class Variant;

/// Something that can be called by name at run time.
class Object {
  public:
    virtual ~Object() = default;

    /// Whether the object says that it has the member, without a call to it. One that doesn't tell
    /// may have members all the same.
    virtual bool HasMember(TextView name) const;
    /// Calls the member `name` (exact in case) with `arguments`, which a callee may change: they
    /// are passed by reference. A RuntimeError MemberNotFound tells that there is no such member.
    virtual Variant Invoke(TextView name, std::span<Variant> arguments);
};

using ObjectRef = std::shared_ptr<Object>;

/// A tagged union of empty, integers of 16 and 32 bits, text and object.
class Variant {
  public:
    Variant() = default;
    Variant(std::int16_t number) : value_(number) {}
    Variant(std::int32_t number) : value_(number) {}
    Variant(Text text) : value_(std::move(text)) {}
    Variant(const char16_t* text) : value_(Text(text)) {}
    Variant(ObjectRef object) : value_(std::move(object)) {}
    template <class Derived>
    requires std::is_base_of_v<Object, Derived> Variant(std::shared_ptr<Derived> object)
        : value_(ObjectRef(std::move(object))) {}

    bool IsEmpty() const { return std::holds_alternative<std::monostate>(value_); }
    bool IsText() const { return std::holds_alternative<Text>(value_); }
    bool IsObject() const { return std::holds_alternative<ObjectRef>(value_); }
    bool IsInteger() const {
        return std::holds_alternative<std::int16_t>(value_) ||
               std::holds_alternative<std::int32_t>(value_);
    }

    /// As text: empty gives the empty text, a number its decimal form. An object is a RuntimeError
    /// TypeMismatch.
    Text AsText() const;
    /// As a number: empty gives 0. A text or an object is a RuntimeError TypeMismatch.
    std::int32_t AsInteger() const;
    /// The object; anything else, and a null object, is a RuntimeError ObjectNotSet.
    const ObjectRef& AsObject() const;
    /// The text without a copy; only for a variant that `IsText`.
    const Text& TextRef() const { return std::get<Text>(value_); }

    bool operator==(const Variant&) const = default;

  private:
    std::variant<std::monostate, std::int16_t, std::int32_t, Text, ObjectRef> value_;
};

}  // namespace bkfd
