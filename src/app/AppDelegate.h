#pragma once

#include "app/SetupGuide.h"
#include "update/Updater.h"

/// What happens once the application has come up.
class AppDelegate {
  public:
    /// Both outlive it.
    AppDelegate(Updater& updater, SetupGuide& guide) : m_updater(updater), m_guide(guide) {}

    /// Starts the updater, and shows the setup guide where it is needed.
    void applicationDidFinishLaunching();

  private:
    Updater& m_updater;
    SetupGuide& m_guide;
};
