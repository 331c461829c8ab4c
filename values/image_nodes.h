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
    // there. Returns how many were.
    template <typename Use>
    int forEachByte(quint64 key, int count, const Use& use) const {
        int i = 0;
        while (i < count && data_->numBuckets != 0) {
            const quint64 first = key + static_cast<quint32>(i);
            const int end = i + qMin(count - i, keysInBlock(first));
            const Block block(data_, hashOf(first), first);
            for (; i < end; ++i) {
                const Node* const node = block.find(key + static_cast<quint32>(i));
                if (node == nullptr) {
                    return i;
                }
                use(i, node->value);
            }
        }
        return i;
    }

    // Stores `byteAt(i)` under `key` + i, for each i below `count`.
    template <typename ByteAt>
    void store(quint64 key, int count, const ByteAt& byteAt) {
        if (count <= 0) {
            return;
        }
        bytes_.detach();
        data_ = dataOf(bytes_);
        if (data_->numBuckets == 0) {
            grow();
        }
        for (int i = 0; i < count;) {
            const quint64 first = key + static_cast<quint32>(i);
            const int end = i + qMin(count - i, keysInBlock(first));
            const Block block(data_, hashOf(first), first);
            for (; i < end; ++i) {
                const quint64 wanted = key + static_cast<quint32>(i);
                Node* const node = block.find(wanted);
                if (node != nullptr) {
                    node->value = byteAt(i);
                } else if (!isFull()) {
                    insert(wanted, byteAt(i), block);
                } else {
                    grow();
                    break;  // to a block of the new buckets
                }
            }
        }
    }

private:
    Q_DISABLE_COPY(ImageNodes)

    typedef QHashNode<quint64, char> Node;

    enum { kBlock = 64 };

    static int keysInBlock(quint64 first) { return kBlock - static_cast<int>(first % kBlock); }

    // Where the nodes of 64 neighbouring keys are. Holds values alone: with references into the hash, each byte that is
    // stored could change any of them, for all that the compiler knows.
    class Block {
    public:
        // REQUIRES: there are buckets.
        Block(QHashData* data, quint32 hash, quint64 key)
            : chains_(reinterpret_cast<Node**>(data->buckets)),
              chainEnd_(reinterpret_cast<Node*>(data)),
              buckets_(static_cast<quint32>(data->numBuckets)),
              firstBucket_((hash - hash % kBlock) % buckets_),
              difference_((hash ^ static_cast<quint32>(key)) % kBlock) {}

        // The link to the first node of the key's chain. REQUIRES (both): the key is one of the 64.
        Node** chain(quint64 key) const {
            const quint32 bucket = firstBucket_ + (static_cast<quint32>(key) % kBlock ^ difference_);
            return chains_ + (bucket < buckets_ ? bucket : bucket % buckets_);
        }

        // Null when it is not there.
        Node* find(quint64 key) const {
            Node* node = *chain(key);
            for (; node == chainEnd_ || node->key != key; node = node->next) {
                if (node == chainEnd_) {
                    return nullptr;
                }
            }
            return node;
        }

    private:
        Node** const chains_;
        Node* const chainEnd_;  // stands in the last node of a chain for the next
        const quint32 buckets_;
        const quint32 firstBucket_;
        const quint32 difference_;  // of hash and key in the low bits
    };

    bool isFull() const { return data_->size >= kMostPerBucket * static_cast<qint64>(data_->numBuckets); }

    void grow() { bytes_.reserve(bytes_.capacity() + 1); }

    // REQUIRES: the key is not there and one of the block's, and there is room.
    void insert(quint64 key, char value, const Block& block) {
        Node** const chain = block.chain(key);
        *chain = new (data_->allocateNode(Q_ALIGNOF(Node))) Node(key, value, hashOf(key), *chain);
        ++data_->size;
    }

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

    ImageHash& bytes_;
    QHashData* data_;
};

}  // namespace ac500

#endif
