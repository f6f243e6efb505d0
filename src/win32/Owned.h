#pragma once

#include <utility>

namespace bkfd {

/// Owns a native resource. `Traits` has the `Type`, an `Invalid()` value and `Close(Type)`.
template <class Traits>
class Owned {
  public:
    using Type = typename Traits::Type;

    Owned() = default;
    explicit Owned(Type resource) : resource_(resource) {}
    Owned(Owned&& other) noexcept : resource_(other.Release()) {}
    Owned& operator=(Owned&& other) noexcept {
        std::swap(resource_, other.resource_);
        return *this;
    }
    ~Owned() {
        if (IsThere()) Traits::Close(resource_);
    }

    bool IsThere() const { return resource_ != Traits::Invalid(); }
    Type Get() const { return resource_; }
    /// Where a call writes the resource that it gives; only for an empty owner.
    Type* Receive() { return &resource_; }
    Type Release() { return std::exchange(resource_, Traits::Invalid()); }

  private:
    Type resource_ = Traits::Invalid();
};

}  // namespace bkfd
