#include "platform/host/HostMachine.h"

namespace bkfd {
namespace {

MachineFacts HostFacts() {
    MachineFacts facts(WindowsFamily::NT);
    facts.codePage = 65001;  // UTF-8, so that no name loses a character in an ANSI call
    return facts;
}

}  // namespace

HostMachine::HostMachine() : ModelMachine(HostFacts(), volume_, clock_, nullptr) {}

}  // namespace bkfd
