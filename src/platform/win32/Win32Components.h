#pragma once

#include <map>

#include "platform/Machine.h"

namespace bkfd {

/// Component objects through COM, on the thread that made this object. COM stays up until the
/// process ends, since objects may outlive it. A component's file beside the program needs no
/// registration: its class object is asked for directly, and for a class known by programmatic
/// identifier alone the file's export DllClassFromProgId tells the class identifier.
class Win32Components : public Components {
  public:
    Win32Components();

    Result<ObjectRef> CoCreateInstance(const ComponentClass& component) override;
    void CoRegisterClassObject(const Text& file, std::function<ObjectRef()> make) override;
    Text CoCreateGuid() override;

  private:
    std::map<Text, std::function<ObjectRef()>> own_;  // by file name in lower case
};

}  // namespace bkfd
