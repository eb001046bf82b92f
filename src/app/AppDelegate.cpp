#include "app/AppDelegate.h"

void AppDelegate::applicationDidFinishLaunching() {
    m_updater.start();
    m_guide.showSetupGuideIfNeeded();
}
