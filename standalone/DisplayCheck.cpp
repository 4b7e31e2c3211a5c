#include "standalone/DisplayCheck.h"

#include <juce_core/juce_core.h>

bool hasDisplay()
{
#if JUCE_LINUX || JUCE_BSD
    // Loaded like the framework does it, so that the program links and starts without it.
    struct Display;
    using OpenDisplay = Display* (*)(const char*);
    using CloseDisplay = int (*)(Display*);
    juce::DynamicLibrary library("libX11.so.6");
    const auto open = reinterpret_cast<OpenDisplay>(library.getFunction("XOpenDisplay"));
    const auto close = reinterpret_cast<CloseDisplay>(library.getFunction("XCloseDisplay"));
    if (open == nullptr || close == nullptr)
        return false;
    Display* const display = open(nullptr);
    if (display == nullptr)
        return false;
    close(display);
#endif
    return true;
}
