#pragma once

#include "tachograph_model.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>

namespace tachoria::sim {

// Faults the line or the device can show, applied to every answer.
struct FaultInjection
{
    QByteArray noise;                  // sent before each answer
    bool echo = false;                 // the request comes back first, as on a K-line
    int delayMs = 0;                   // before each answer
    QHash<quint8, int> serviceDelayMs; // before each answer to these services, by request SID
    bool silent = false;               // the device never answers
    bool badChecksum = false;          // the answer's checksum is off by one
    bool zeroLengthFrame = false;      // a header with length 0 goes out before each answer
};

struct SimOptions
{
    QString linkPath;
    QString adapterLinkPath; // empty: no adapter
    QString recordPath;      // every frame in and out, with its time; empty: none
    bool kLineEcho = true;   // a K-line is one wire: the adapter's line echoes every request
    quint32 adapterPulses = 32000;
    DeviceIdentity identity;
    DeviceBehaviour behaviour;
    FaultInjection faults;
    QList<int> bauds; // speeds the device understands
    bool paced = true;
    bool verbose = false;
};

// Parses the simulator's command line; on --help or --version prints and exits. False with a reason for
// bad input, so the person at the console learns what was wrong.
bool parseSimOptions(const QStringList& arguments, SimOptions& options, QString* error);

} // namespace tachoria::sim
