#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Descriptor.h"

namespace bench {

/// The least that sending one text to many peers takes: a blocking write to each.
class BareBroadcast {
  public:
    /// Listens there.
    BareBroadcast(std::uint16_t port, std::string text);

    void accept(int peers);
    /// Blocks until the peers have taken what the system's buffers do not.
    /// @return the processor time of this thread, in microseconds
    [[nodiscard]] double writeToAll() const;

  private:
    std::string m_text;
    Descriptor m_listener;
    std::vector<Descriptor> m_peers;
};

} // namespace bench
