#pragma once

/// The groups of measurements. Each prints its lines and fails with an exception when something
/// could not be measured.
namespace bench {

void measureHook();
void measureDaemon();
void measureIdle();
void measureHeld();
void measureJSON();
void measurePublish();
void measureSealing();
void measureStatePush();
void measureConnected();
void measureDesktop();
void measureRelayServer();

} // namespace bench
