#pragma once

#include "ctl/CommandLine.h"

/// What the program can do: one function a command, each returning the exit code.
namespace ctl {

// Reading and switching.
int status(const Context& context, const Arguments& arguments);
int url(const Context& context, const Arguments& arguments);
int mode(const Context& context, const Arguments& arguments);

// Questions.
int pending(const Context& context, const Arguments& arguments);
int answer(const Context& context, const Arguments& arguments);
int reply(const Context& context, const Arguments& arguments);
int watch(const Context& context, const Arguments& arguments);

// Phones, and the relay between them and this computer.
int pair(const Context& context, const Arguments& arguments);
int devices(const Context& context, const Arguments& arguments);
int devicesRemove(const Context& context, const Arguments& arguments);
int testPush(const Context& context, const Arguments& arguments);
int relayStatus(const Context& context, const Arguments& arguments);
int relaySet(const Context& context, const Arguments& arguments);
int relayReset(const Context& context, const Arguments& arguments);

// The installation.
int hooksStatus(const Context& context, const Arguments& arguments);
int hooksInstall(const Context& context, const Arguments& arguments);
int hooksRemove(const Context& context, const Arguments& arguments);
int hooksTrust(const Context& context, const Arguments& arguments);
int takeover(const Context& context, const Arguments& arguments);
int test(const Context& context, const Arguments& arguments);
int doctor(const Context& context, const Arguments& arguments);
int serviceInstall(const Context& context, const Arguments& arguments);
int serviceRemove(const Context& context, const Arguments& arguments);
int serviceStatus(const Context& context, const Arguments& arguments);

} // namespace ctl
