#pragma once

#include <sys/resource.h>

/// The limit on open files. Every held request is one, so the program takes all that the system
/// allows; programs that it starts get what it was itself started with, because some of them walk
/// over every possible descriptor or use select(2).
class DescriptorLimit {
  public:
    /// Raises the soft limit to the hard one. Leaves it as it was when the system refuses.
    DescriptorLimit();

    /// Puts the original limit back. To be called in a child process between fork and exec: it is
    /// async-signal-safe.
    void restore() const noexcept;

  private:
    rlimit m_original{};
    bool m_isRaised = false;
};
