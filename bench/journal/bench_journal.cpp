// The journal viewer on a full journal file (5 MiB, the size at which it rotates): reading it into
// the viewer's records (on a worker) and filtering them by a search (on the GUI thread, per pause in
// the typing).
#include "../bench_common.h"
#include "logging/application_logger.h"
#include "qml_controllers/journal_files.h"

#include <QFile>
#include <QTemporaryDir>

using namespace tachoria;

namespace {

// A journal as a download writes it: mostly hex dumps of the wire, some steps and warnings.
QString fullJournal(QTemporaryDir& folder)
{
    logging::ApplicationLogger::initialize(folder.path(), true);
    const QByteArray payload = QByteArray::fromHex("8000EE0F4C76060000000123456789ABCDEF");
    int step = 0;
    while (QFileInfo(logging::ApplicationLogger::currentFilePath()).size() <
           logging::ApplicationLogger::kRotateSizeBytes - 4096) {
        logging::ApplicationLogger::protocol(QStringLiteral("RX"), QStringLiteral("read"),
                                             payload.repeated(1 + step % 8), QStringLiteral("/dev/ttyUSB0"),
                                             QStringLiteral("protocol"));
        if (++step % 20 == 0)
            logging::ApplicationLogger::write(logging::Level::Warning, QStringLiteral("download"),
                                              QStringLiteral("Ответ 0x78, ожидание блока"),
                                              QStringLiteral("run"));
    }
    logging::ApplicationLogger::shutdown();
    return QDir(folder.path()).filePath(QStringLiteral("Tachoria.log"));
}

void readFullJournal(benchmark::State& state)
{
    QTemporaryDir folder;
    const QString path = fullJournal(folder);
    qsizetype records = 0;
    for (auto _ : state)
        records = qml::journal::records(path).size();
    state.counters["records"] = double(records);
    state.SetBytesProcessed(int64_t(state.iterations()) * QFileInfo(path).size());
}

void searchFullJournal(benchmark::State& state)
{
    QTemporaryDir folder;
    qml::JournalEntryModel model;
    model.setRecords(qml::journal::records(fullJournal(folder)));
    for (auto _ : state) {
        model.setFilter(QStringLiteral("all"), QStringLiteral("ожидание"));
        benchmark::DoNotOptimize(model.rowCount());
    }
    state.counters["shown"] = model.rowCount();
}

} // namespace

BENCHMARK(readFullJournal)->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(searchFullJournal)->Unit(benchmark::kMillisecond);

int main(int argc, char** argv)
{
    return bench::runBenchmarks(argc, argv);
}
