#pragma once

#include <functional>
#include <memory>
#include <utility>

namespace bkfd {

/// What a control tells its owner: at most one handler. The handler may destroy the control, and
/// with it the event: it is kept alive until it returns.
template <class... Args>
class Event {
  public:
    using Handler = std::function<void(Args...)>;

    Event& operator=(Handler handler) {
        handler_ = handler ? std::make_shared<const Handler>(std::move(handler)) : nullptr;
        return *this;
    }
    explicit operator bool() const { return handler_ != nullptr; }

    void operator()(Args... args) const {
        const std::shared_ptr<const Handler> running = handler_;
        if (running) (*running)(std::forward<Args>(args)...);
    }

  private:
    std::shared_ptr<const Handler> handler_;
};

/// Lets others find out whether the object is still there.
class Watchable {
  public:
    Watchable() = default;
    Watchable(const Watchable&) = delete;
    Watchable& operator=(const Watchable&) = delete;

    /// Expires when the object is destroyed.
    std::weak_ptr<const void> Watch() const { return token_; }

  protected:
    ~Watchable() = default;

  private:
    std::shared_ptr<const int> token_ = std::make_shared<const int>(0);
};

/// A pointer that reads null once its object is gone.
template <class T>
class Weak {
  public:
    Weak() = default;
    Weak(T* object) : object_(object) {
        if (object) token_ = object->Watch();
    }
    T* Get() const { return token_.expired() ? nullptr : object_; }
    explicit operator bool() const { return Get() != nullptr; }
    T* operator->() const { return Get(); }

  private:
    T* object_ = nullptr;
    std::weak_ptr<const void> token_;
};

}  // namespace bkfd
