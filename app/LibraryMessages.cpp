#include "LibraryMessages.h"

#include <cstdlib>
#include <iostream>

#include <Vesk_3D.h>

namespace vesk3dapp {

namespace {

// The object whose lines an exit inside the library must still show; null after a clean end.
LibraryMessages* pActive = nullptr;

void showAtUnexpectedExit()
{
    if (pActive != nullptr) pActive->showOnFailure();
}

} // namespace

LibraryMessages::LibraryMessages(bool bVerbose_) : bVerbose(bVerbose_)
{
    static const bool bExitHandlerRegistered = std::atexit(showAtUnexpectedExit) == 0;
    (void)bExitHandlerRegistered;
    pActive = this;
    VESK3D::setMessageSink([this](VESK3D::MessageKind, const std::string& line) {
        if (bVerbose)
            std::cerr << line << '\n';
        else
            vHeld.push_back(line);
    });
}

LibraryMessages::~LibraryMessages()
{
    VESK3D::setMessageSink(nullptr);
    pActive = nullptr;
}

void LibraryMessages::showOnFailure()
{
    std::cout.flush();
    for (const std::string& line : vHeld) std::cerr << line << '\n';
    vHeld.clear();
    std::cerr.flush();
}

} // namespace vesk3dapp
