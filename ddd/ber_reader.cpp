#include "ddd/ber_reader.h"

namespace tachoria::ddd {

namespace {

quint8 at(const QByteArray& bytes, qsizetype index)
{
    return static_cast<quint8>(bytes.at(index));
}

bool endMarkAt(const QByteArray& bytes, qsizetype position, qsizetype limit)
{
    return position + 1 < limit && at(bytes, position) == 0x00 && at(bytes, position + 1) == 0x00;
}

} // namespace

bool parseBerNode(const QByteArray& bytes, qsizetype& position, qsizetype limit, BerNode& node, int depth)
{
    limit = std::min(limit, bytes.size());
    if (depth > kMaxBerDepth || position >= limit)
        return false;
    qsizetype p = position;
    node = BerNode();
    node.offset = static_cast<int>(p);
    const quint8 identifier = at(bytes, p++);
    node.tagClass = identifier >> 6;
    node.constructed = identifier & 0x20;
    node.tag = identifier & 0x1F;
    if (node.tag == 31) {
        quint32 tag = 0;
        bool ended = false;
        for (int i = 0; i < 4 && p < limit; ++i) {
            const quint8 byte = at(bytes, p++);
            tag = (tag << 7) | (byte & 0x7F);
            if (!(byte & 0x80)) {
                ended = true;
                break;
            }
        }
        if (!ended)
            return false;
        node.tag = tag;
    }
    if (p >= limit)
        return false;
    const quint8 lengthByte = at(bytes, p++);
    if (lengthByte == 0x80) {
        node.indefiniteLength = true;
        const qsizetype start = p;
        if (node.constructed) {
            while (true) {
                if (p >= limit)
                    return false;
                if (endMarkAt(bytes, p, limit))
                    break;
                BerNode child;
                const qsizetype before = p;
                if (!parseBerNode(bytes, p, limit, child, depth + 1) || p <= before)
                    return false;
                node.children.append(child);
            }
        } else {
            while (p < limit && !endMarkAt(bytes, p, limit))
                ++p;
            if (p + 1 >= limit)
                return false;
        }
        node.value = bytes.mid(start, p - start);
        position = p + 2;
        return true;
    }
    qint64 length = 0;
    if (!(lengthByte & 0x80)) {
        length = lengthByte;
    } else {
        const int count = lengthByte & 0x7F;
        if (count < 1 || count > 4 || p + count > limit)
            return false;
        for (int i = 0; i < count; ++i)
            length = (length << 8) | at(bytes, p++);
    }
    if (length < 0 || p + length > limit)
        return false;
    node.value = bytes.mid(p, length);
    const qsizetype end = p + length;
    if (node.constructed) {
        qsizetype child = p;
        while (child < end) {
            BerNode element;
            const qsizetype before = child;
            if (!parseBerNode(bytes, child, end, element, depth + 1) || child <= before)
                break; // a broken child ends the list quietly
            node.children.append(element);
        }
    }
    position = end;
    return true;
}

} // namespace tachoria::ddd
