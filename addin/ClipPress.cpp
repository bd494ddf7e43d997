#include "addin/ClipPress.h"

namespace Tessarix::Addin {
namespace {

IUnknown* currentConnection = nullptr; // not owned: CConnect forgets itself when it goes

} // namespace

ClipPress::ClipPress(std::u16string_view source)
    : connection_(currentConnection), pass_(ClipGate::Enter(source)) {}

void SetCurrentConnection(IUnknown* connection) {
    currentConnection = connection;
}

void ForgetConnection(IUnknown* connection) {
    if (currentConnection == connection)
        currentConnection = nullptr;
}

} // namespace Tessarix::Addin
