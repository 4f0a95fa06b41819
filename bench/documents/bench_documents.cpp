// What the documents page costs the GUI thread: a certificate's or a sticker's PDF and preview, and
// handing a print job to CUPS (the 300 dpi bitmap, Qt's job file and the hand-over; the queue's own
// work afterwards is CUPS's). The print benchmarks start a cups-pdf queue of their own; run as the
// tests run, with CUPS installed.
#include "../../tests/support/cups_stand_in.h"
#include "../../tests/support/sample_document.h"
#include "documents/document_renderer.h"

#include <QApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

using tachoria::documents::DocumentRenderer;
using tachoria::documents::DocumentType;

namespace {

const QString kQueue = QStringLiteral("TachoriaBenchSheet");
const QString kTapeQueue = QStringLiteral("TachoriaBenchTape");

tachoria::test::CupsStandIn* cups = nullptr;

DocumentType typeOf(const benchmark::State& state)
{
    return state.range(0) == 1 ? DocumentType::Sticker : DocumentType::Certificate;
}

void label(benchmark::State& state)
{
    state.SetLabel(typeOf(state) == DocumentType::Sticker ? "sticker" : "certificate");
}

// range(1): 0 the PDF, 1 the preview picture.
void write(benchmark::State& state)
{
    QTemporaryDir folder;
    const bool pdf = state.range(1) == 0;
    const QString path =
        folder.filePath(pdf ? QStringLiteral("document.pdf") : QStringLiteral("preview.png"));
    for (auto _ : state) {
        const bool written =
            pdf ? DocumentRenderer::writePdf(path, typeOf(state), tachoria::test::sampleDocument())
                : DocumentRenderer::writePreviewImage(path, typeOf(state), tachoria::test::sampleDocument());
        if (!written)
            state.SkipWithError("the document was not written");
    }
    label(state);
    state.counters["bytes"] = QFileInfo(path).size();
}

void printToCups(benchmark::State& state)
{
    if (!cups) {
        state.SkipWithError("CUPS is not available");
        return;
    }
    const DocumentType type = typeOf(state);
    QString error;
    for (auto _ : state) {
        if (!DocumentRenderer::print(type, tachoria::test::sampleDocument(),
                                     type == DocumentType::Sticker ? kTapeQueue : kQueue, &error)) {
            state.SkipWithError(qPrintable(error));
            return;
        }
    }
    label(state);
}

BENCHMARK(write)
    ->ArgsProduct({{0, 1}, {0, 1}})
    ->ArgNames({"sticker", "preview"})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(printToCups)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->Iterations(5);

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    std::unique_ptr<tachoria::test::CupsStandIn> standIn;
    if (tachoria::test::CupsStandIn::unavailableReason().isEmpty()) {
        standIn = std::make_unique<tachoria::test::CupsStandIn>();
        if (standIn->start() && standIn->addPdfPrinter(kQueue) && standIn->addLabelPrinter(kTapeQueue))
            cups = standIn.get();
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    cups = nullptr;
    return 0;
}
