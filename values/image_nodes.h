// ImageNodes reaches the bytes of the image run by run, with one division per 64 neighbouring keys.
//
// Why. Every byte that a reply delivers is a node of its own in a QHash, because hosts may look at it. Through the
// members of QHash each of them costs a look at the reference count, a hash and a division by the number of buckets (a
// call into a library on older ARM cores), a new one twice: 70 % of a cycle without the network.
//
// What it stands on. Buckets and nodes are declared in Qt's public header, and the inline code of every program that was
// built with it works on them, the host's included: they stay as they are for as long as host and driver can exchange
// containers at all, from Qt 4.8 to the last Qt 5. So does the hash of an integer: neighbours within 64 differ as their
// keys do, in the low six bits. Only the way from a QHash to them is private: a QHash is a pointer to its QHashData.
// Nothing is kept from one call to the next, so a host that copies, replaces, clears or erases in its image leaves
// nothing invalid behind.
//
// Keys and bytes are as values/byte_image.h has them. Not thread-safe: callers hold the image lock.
//
// QHash makes room for one node to a bucket before it inserts; here two may share one. That keeps the heap within its
// bound (docs/budget.md) without giving buckets back, and makes a rehash rarer, during which readers wait.
#ifndef AC500_VALUES_IMAGE_NODES_H
#define AC500_VALUES_IMAGE_NODES_H

#include <QtCore/QHash>

namespace ac500 {

typedef QHash<quint64, char> ImageHash;

class ImageNodes {
public:
    enum { kMostPerBucket = 2 };

    // Keeps a reference to `bytes`, which nothing else may change as long as this lives.
    explicit ImageNodes(ImageHash& bytes);

    // Copies the bytes under `key` and the keys that follow it, up to the first that is not there; `count` at most. Returns
    // how many it copied.
    int copy(quint64 key, int count, char* target) const;

    // Stores `count` bytes under `key` and the keys that follow it; nothing when `count` is not positive.
    void store(quint64 key, const char* source, int count);

private:
    Q_DISABLE_COPY(ImageNodes)

    class Block;

    Block blockOf(quint64 key) const;
    bool isFull() const;
    void grow();
    void insert(quint64 key, char value, const Block& block);
    quint32 hashOf(quint64 key) const;

    ImageHash& bytes_;
    QHashData* data_;
};

}  // namespace ac500

#endif
