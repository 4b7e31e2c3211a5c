#pragma once

/// Whether there is a screen to show windows on. To be called before anything of the framework's
/// is, which would wait for ever or crash without one.
bool hasDisplay();
