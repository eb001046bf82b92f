#pragma once

/// Forbids core dumps of this process and its children, because its memory holds keys. Its memory
/// figures stay readable, unlike with PR_SET_DUMPABLE.
void disableCoreDumps();
