#pragma once
// The window system's part of the platform, which only the desktop program and its widget tests
// link. Everything else (main loop, settings, folders) is the headless platform's, shared as it is.

// Whether a window system can be reached: a display is named (X11 or Wayland), or Qt is told
// which platform plugin to use (the widget tests choose "offscreen").
bool LPlatformHasDisplay();
