#pragma once

#include <QByteArray>
#include <QList>

namespace tachoria::ddd {

// One element of a BER (ASN.1) structure.
struct BerNode
{
    quint32 tag = 0;
    int tagClass = 0; // 0 universal, 1 application, 2 context, 3 private
    bool constructed = false;
    int offset = 0; // of the identifier byte in the file
    QByteArray value;
    QList<BerNode> children;
    bool indefiniteLength = false;
};

// Reads one node at position (moved behind it on success), never past limit; depth is bounded so that
// a hostile file cannot recurse without end.
bool parseBerNode(const QByteArray& bytes, qsizetype& position, qsizetype limit, BerNode& node,
                  int depth = 0);

constexpr int kMaxBerDepth = 24;

} // namespace tachoria::ddd
