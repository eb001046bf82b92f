#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "Require.h"
#include "hooks/CodexDialogue.h"

// However the server's bytes are cut, they mean the same; and the counts fit together.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    CodexDialogue atOnce("/home/user");
    const CodexDialogue::Step whole = atOnce.take(bytes);

    CodexDialogue inPieces("/home/user");
    CodexDialogue::Step last;
    std::string written;
    std::size_t at = 0;
    while (at < size && !last.hasEnded) {
        const std::size_t length = 1 + data[at] % 7U;
        last = inPieces.take(bytes.substr(at, length));
        written += last.toWrite;
        at += length;
    }
    require(last.hasEnded == whole.hasEnded);
    require(last.trust == whole.trust);
    require(written == whole.toWrite);

    if (const auto& trust = whole.trust) {
        require(whole.hasEnded);
        require(std::min({trust->usable, trust->modified, trust->disabled}) >= 0);
        require(trust->usable + trust->modified + trust->disabled <= trust->total);
    }
    return 0;
}
