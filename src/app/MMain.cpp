#include "app/MMain.h"

#include <algorithm>

#include "base/RuntimeError.h"
#include "platform/Machine.h"
#include "resources/ComponentIds.h"
#include "services/KeyedList.h"
#include "services/SysUtil.h"

namespace bkfd {
namespace {

/// In the order in which they are tried. The custom component's class is another than the one that
/// may replace the logger.
const ComponentClass kNeededComponents[] = {
    {{}, {}, ComponentIds::LibraryFile},
    {{}, ComponentIds::CheckClassId, ComponentIds::CustomFile},
};

class CustomComponent : public Object {
  public:
    bool HasMember(TextView name) const override { return name == u"Init"; }
    Variant Invoke(TextView name, std::span<Variant> arguments) override {
        if (name == u"Init" && arguments.size() == 1) return {};
        return Object::Invoke(name, arguments);
    }
};

Text ToUpperAscii(Text text) {
    std::ranges::transform(text, text.begin(), [](char16_t unit) {
        return unit >= u'a' && unit <= u'z' ? static_cast<char16_t>(unit - 32) : unit;
    });
    return text;
}

ObjectRef Create(const ComponentClass& component) {
    const auto created = TheMachine().ComponentObjects().CoCreateInstance(component);
    if (!created.IsOk() || created.value == nullptr) {
        throw RuntimeError(ErrorNumber::CannotCreateObject);
    }
    return created.value;
}

Text FailureMessage(const Text& component, bool isLong) {
    const Text message = u"Component '" + ToUpperAscii(component) +
                         u"' or one of its dependencies not correctly registered: a file is "
                         u"missing or invalid. ";
    return isLong ? message + u"Try to reinstall Brackenfold." : message;
}

}  // namespace

void OfferLibraryClass() {
    TheMachine().ComponentObjects().CoRegisterClassObject(
        ComponentIds::LibraryFile, []() -> ObjectRef { return std::make_shared<KeyedList>(); });
}

void OfferCustomComponent() {
    TheMachine().ComponentObjects().CoRegisterClassObject(
        ComponentIds::CustomFile,
        []() -> ObjectRef { return std::make_shared<CustomComponent>(); });
}

bool CheckComponents(Text& message) {
    message.clear();
    Text name;
    bool wantsLongMessage = false;
    try {
        ObjectRef made;
        for (const ComponentClass& component : kNeededComponents) {
            name = component.file;
            wantsLongMessage = true;  // always, so the short message never shows: on purpose
            made = Create(component);
        }
        return true;
    } catch (...) {
        (void)CurrentError();
        message = FailureMessage(name, wantsLongMessage);
        return false;
    }
}

}  // namespace bkfd
