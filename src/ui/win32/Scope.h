#pragma once

namespace bkfd::native {

/// Counts that something is going on, for as long as the scope lasts.
class Scope {
  public:
    explicit Scope(int& depth) : depth_(depth) { ++depth_; }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
    ~Scope() { --depth_; }

  private:
    int& depth_;
};

}  // namespace bkfd::native
