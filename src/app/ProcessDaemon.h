#pragma once

#include "core/Locations.h"
#include "daemon/Daemon.h"
#include "daemon/StatusFile.h"
#include "platform/Bundle.h"
#include "platform/IdleTime.h"
#include "platform/QtScheduler.h"

/// The one daemon of this process, with what the system gives it. It needs a QCoreApplication, and
/// lives in main.
class ProcessDaemon {
  public:
    ProcessDaemon();
    ProcessDaemon(const ProcessDaemon&) = delete;
    ProcessDaemon& operator=(const ProcessDaemon&) = delete;

    [[nodiscard]] Daemon& daemon() { return m_daemon; }
    [[nodiscard]] Scheduler& scheduler() { return m_scheduler; }
    [[nodiscard]] const Locations& locations() const { return m_locations; }
    [[nodiscard]] const Bundle& bundle() const { return m_bundle; }

  private:
    [[nodiscard]] Daemon::Environment environment();

    const Locations m_locations;
    const Bundle m_bundle;
    IdleTime m_idleTime;
    StatusFile m_statusFile;
    QtScheduler m_scheduler;
    Daemon m_daemon; // Last: it asks all of the above.
};
