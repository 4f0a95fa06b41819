// libFuzzer target: any bytes must give a report, without a crash, a hang or a read out of bounds.
#include "ddd/ddd_decoder.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace tachoria::ddd;
    // A copy of its own, so that the sanitizer sees the exact end of the input.
    const QByteArray bytes(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    DddReport report = Decoder::decode(bytes, QStringLiteral("fuzz.ddd"));
    if (report.size != static_cast<int>(size))
        __builtin_trap();
    for (const DddBlock& block : report.blocks) {
        if (block.offset < 0 || block.length < 0 || block.length != block.data.size() ||
            block.offset + block.length > bytes.size())
            __builtin_trap();
    }
    (void)report.summary();
    (void)report.blockRows();
    Decoder::analyze(report);
    return 0;
}
