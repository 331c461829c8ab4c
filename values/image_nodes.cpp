#include "values/image_nodes.h"

#include <new>

static_assert(QT_VERSION >= QT_VERSION_CHECK(4, 8, 0) && QT_VERSION < QT_VERSION_CHECK(6, 0, 0),
              "other versions of QHash have other nodes");

namespace ac500 {

namespace {

typedef QHashNode<quint64, char> Node;

enum { kBlock = 64 };

// How many keys there are from `key` to the end of its block.
int keysInBlock(quint64 key) {
    return kBlock - static_cast<int>(key % kBlock);
}

// The pointer is the hash's only member.
QHashData* dataOf(const ImageHash& bytes) {
    static_assert(sizeof(ImageHash) == sizeof(void*), "a QHash is a pointer to its data");
    return *reinterpret_cast<QHashData* const*>(&bytes);
}

}  // namespace

// Where the nodes of 64 neighbouring keys are. Holds values alone: with references into the hash, each byte that is
// stored could change any of them, for all that the compiler knows.
class ImageNodes::Block {
public:
    // REQUIRES: there are buckets.
    Block(QHashData* data, quint32 hash, quint64 key)
        : chains_(reinterpret_cast<Node**>(data->buckets)),
          chainEnd_(data),
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
    const void* const chainEnd_;  // stands in the last node of a chain for the next
    const quint32 buckets_;
    const quint32 firstBucket_;
    const quint32 difference_;  // of hash and key in the low bits
};

ImageNodes::ImageNodes(ImageHash& bytes) : bytes_(bytes), data_(dataOf(bytes)) {}

int ImageNodes::copy(quint64 key, int count, char* target) const {
    int i = 0;
    while (i < count && data_->numBuckets != 0) {
        const quint64 first = key + static_cast<quint32>(i);
        const int end = i + qMin(count - i, keysInBlock(first));
        const Block block = blockOf(first);
        for (; i < end; ++i) {
            const Node* const node = block.find(key + static_cast<quint32>(i));
            if (node == nullptr) {
                return i;
            }
            target[i] = node->value;
        }
    }
    return i;
}

void ImageNodes::store(quint64 key, const char* source, int count) {
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
        const Block block = blockOf(first);
        for (; i < end; ++i) {
            const quint64 wanted = key + static_cast<quint32>(i);
            Node* const node = block.find(wanted);
            if (node != nullptr) {
                node->value = source[i];
            } else if (!isFull()) {
                insert(wanted, source[i], block);
            } else {
                grow();
                break;  // to a block of the new buckets
            }
        }
    }
}

ImageNodes::Block ImageNodes::blockOf(quint64 key) const {
    return Block(data_, hashOf(key), key);
}

bool ImageNodes::isFull() const {
    return data_->size >= kMostPerBucket * static_cast<qint64>(data_->numBuckets);
}

void ImageNodes::grow() {
    bytes_.reserve(bytes_.capacity() + 1);
}

// REQUIRES: the key is not there and one of the block's, and there is room.
void ImageNodes::insert(quint64 key, char value, const Block& block) {
    Node** const chain = block.chain(key);
    void* const memory = data_->allocateNode(Q_ALIGNOF(Node));
#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
    *chain = new (memory) Node(key, value, hashOf(key), *chain);
#else
    Node* const node = new (memory) Node(key, value);
    node->h = hashOf(key);
    node->next = *chain;
    *chain = node;
#endif
    ++data_->size;
}

quint32 ImageNodes::hashOf(quint64 key) const {
#if QT_VERSION >= QT_VERSION_CHECK(5, 0, 0)
    return qHash(key, data_->seed);
#else
    return qHash(key);
#endif
}

}  // namespace ac500
