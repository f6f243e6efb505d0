#include "services/Logger.h"

namespace bkfd {
namespace {

/// A logger that another component made, called by name.
class ForeignLogger final : public Logger {
  public:
    explicit ForeignLogger(ObjectRef object) : object_(std::move(object)) {}

    void Write(std::int32_t code, const Text& message, LogLevel level,
               const Text& source) override {
        try {
            Variant arguments[] = {code, message, static_cast<std::int32_t>(level), source};
            object_->Invoke(u"Write", arguments);
        } catch (...) {
            // The line is lost, not the work; what is no error goes on its way.
            (void)CurrentError();
        }
    }

    void Open(const Text& fullLogPath, const Text& shortLogPath) override {
        Variant arguments[] = {fullLogPath, shortLogPath};
        object_->Invoke(u"Open", arguments);
    }

  private:
    ObjectRef object_;
};

}  // namespace

bool Logger::HasMember(TextView name) const {
    return name == u"Write" || name == u"Open";
}

Variant Logger::Invoke(TextView name, std::span<Variant> arguments) {
    if (name == u"Write" && arguments.size() == 4) {
        Write(arguments[0].AsInteger(), arguments[1].AsText(),
              static_cast<LogLevel>(arguments[2].AsInteger()), arguments[3].AsText());
        return {};
    }
    if (name == u"Open" && arguments.size() == 2) {
        Open(arguments[0].AsText(), arguments[1].AsText());
        return {};
    }
    return Object::Invoke(name, arguments);
}

LoggerRef AsLogger(const ObjectRef& object) {
    if (auto logger = std::dynamic_pointer_cast<Logger>(object)) return logger;
    if (object == nullptr || !object->HasMember(u"Write")) return nullptr;
    return std::make_shared<ForeignLogger>(object);
}

}  // namespace bkfd
