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
// nothing behind that would have to notice.
//
// QHash makes room for one node to a bucket before it inserts; here two may share one. That keeps the heap within its
// bound (docs/budget.md) without giving buckets back, and makes a rehash rarer, during which readers wait.
#ifndef AC500_VALUES_IMAGE_NODES_H
#define AC500_VALUES_IMAGE_NODES_H

#include <cstring>
#include <new>

#include <QtCore/QHash>

static_assert(QT_VERSION >= QT_VERSION_CHECK(4, 8, 0) && QT_VERSION < QT_VERSION_CHECK(6, 0, 0),
              "other versions of QHash have other nodes");

namespace ac500 {

typedef QHash<quint64, char> ImageHash;

class ImageNodes {
public:
    enum { kMostPerBucket = 2 };

    // Keeps a reference to `bytes`, which nothing else may change as long as this lives.
    explicit ImageNodes(ImageHash& bytes) : bytes_(bytes), data_(dataOf(bytes)) {}

    // Calls `use(i, byte)` for the byte under `key` + i, for each i below `count` in turn, up to the first that is not
    // there. Returns how many were. `use` may only change a byte when nobody shares the hash.
    template <typename Use>
    int forEachByte(quint64 key, int count, const Use& use) const {
        // In variables of its own: a byte that is changed could be any of the members' otherwise.
        Node* const* const chains = this->chains();
        Node* const chainEnd = this->chainEnd();
        const quint32 buckets = static_cast<quint32>(data_->numBuckets);
        int i = 0;
        while (i < count && buckets != 0) {
            const quint64 first = key + static_cast<quint32>(i);
            const quint32 firstHash = hashOf(first);
            const quint32 difference = (firstHash ^ static_cast<quint32>(first)) % kBlock;
            const quint32 firstBucket = (firstHash - firstHash % kBlock) % buckets;
            const int end = i + qMin(count - i, kBlock - static_cast<int>(first % kBlock));
            for (; i < end; ++i) {
                const quint64 wanted = key + static_cast<quint32>(i);
                quint32 bucket = firstBucket + (static_cast<quint32>(wanted) % kBlock ^ difference);
                if (bucket >= buckets) {
                    bucket %= buckets;
                }
                Node* node = chains[bucket];
                for (; node == chainEnd || node->key != wanted; node = node->next) {
                    if (node == chainEnd) {
                        return i;
                    }
                }
                use(i, node->value);
            }
        }
        return i;
    }

    // REQUIRES: the byte is not there.
    void insert(quint64 key, char value) {
        bytes_.detach();
        if (bytes_.size() >= kMostPerBucket * static_cast<qint64>(bytes_.capacity())) {
            bytes_.reserve(bytes_.capacity() + 1);
        }
        data_ = dataOf(bytes_);
        const quint32 hash = hashOf(key);
        Node** const chain = chains() + hash % static_cast<quint32>(data_->numBuckets);
        *chain = new (data_->allocateNode(Q_ALIGNOF(Node))) Node(key, value, hash, *chain);
        ++data_->size;
    }

private:
    Q_DISABLE_COPY(ImageNodes)

    typedef QHashNode<quint64, char> Node;

    enum { kBlock = 64 };

    static QHashData* dataOf(const ImageHash& bytes) {
        static_assert(sizeof(ImageHash) == sizeof(QHashData*), "a QHash is a pointer to its data");
        QHashData* data = nullptr;
        std::memcpy(&data, &bytes, sizeof data);
        return data;
    }

    quint32 hashOf(quint64 key) const {
#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
        return qHash(key, data_->seed);
#else
        return qHash(key);
#endif
    }

    Node** chains() const { return reinterpret_cast<Node**>(data_->buckets); }

    // What stands in the last node of a chain for the next.
    Node* chainEnd() const { return reinterpret_cast<Node*>(data_); }

    ImageHash& bytes_;
    QHashData* data_;
};

}  // namespace ac500

#endif
