#pragma once

#include "app/FMain.h"
#include "common/EngineFixture.h"
#include "resources/ComponentIds.h"

namespace bkfd {

/// The component's object, which may leave something else in the start-up's logger variable.
class CustomObject : public Object {
  public:
    explicit CustomObject(Variant left) : left_(std::move(left)) {}
    Variant Invoke(TextView name, std::span<Variant> arguments) override {
        if (name != u"Init" || arguments.size() != 1) return Object::Invoke(name, arguments);
        if (!left_.IsEmpty()) arguments[0] = left_;
        return {};
    }

  private:
    Variant left_;
};

/// The program on a machine in memory; all that it logs from the custom object on is in `log`.
class StartedProgram : public EngineFixture {
  public:
    explicit StartedProgram(WindowsFamily family = WindowsFamily::NT) : EngineFixture(family) {
        machine.AddComponent(ComponentIds::CheckClassId, [] { return std::make_shared<Object>(); });
        OfferCustomObject(LoggerRef(log));
    }
    ~StartedProgram() { main.reset(); }

    void OfferCustomObject(const Variant& left) {
        machine.AddComponent(ComponentIds::CustomProgId,
                             [left] { return std::make_shared<CustomObject>(left); });
    }
    /// Runs the whole start-up and shows the main window.
    FMain& Start() {
        main = std::make_unique<FMain>();
        main->Form_Initialize();
        main->Show();
        return *main;
    }
    /// Chooses an entry of the menu bar.
    void Choose(TextView name) {
        for (MenuItem* menu : main->MenuBar()) {
            if (MenuItem* entry = menu->Find(name)) return entry->Choose();
        }
        throw RuntimeError(ErrorNumber::Internal, u"no menu entry " + Text(name));
    }
    /// The loaded form of that name, or null.
    Form* Window(TextView name) {
        for (Form* form : toolkit.Windows().Forms()) {
            if (form->Name() == name) return form;
        }
        return nullptr;
    }
    template <class C>
    C& Find(TextView name) {
        return dynamic_cast<C&>(*main->FindControl(name));
    }

    std::unique_ptr<FMain> main;
};

}  // namespace bkfd
