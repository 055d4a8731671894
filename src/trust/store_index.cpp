#include "trust/store_index.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

namespace detail {

namespace {

size_t combine(size_t seed, size_t hash) { return seed ^ (hash + 0x9E3779B9U + (seed << 6) + (seed >> 2)); }

size_t hashOf(asn1::blob bytes) {
    return std::hash<std::string_view>()({reinterpret_cast<char const*>(bytes.data()), bytes.size()});
}

/// Equal for equal names.
size_t hashOf(DistinguishedName const& name) {
    size_t hash = 0;
    for (std::string const* field : {&name.country, &name.state, &name.locality, &name.organization,
                                     &name.organizationalUnit, &name.commonName, &name.serialNumber})
        hash = combine(hash, std::hash<std::string>()(*field));
    return hash;
}

/// The index of one vector of a store.
template <typename Object>
class Indexed {
public:
    using Objects = std::vector<std::shared_ptr<Object>>;

    /// Brings the index up to date. Several threads may do so, while no thread appends to the store.
    template <typename Add>
    void update(Objects const& objects, Add add) {
        size_t const wanted = stampOf(objects);
        if (stamp.load(std::memory_order_acquire) == wanted)
            return;
        std::lock_guard const lock(mutex);
        if (stamp.load(std::memory_order_relaxed) == wanted)
            return;
        bool const wasAppendedTo = count != 0 && count <= objects.size() && objects.front().get() == first &&
                                   objects[count - 1].get() == last;
        if (!wasAppendedTo)
            count = 0;
        for (; count < objects.size(); count++)
            add(*objects[count], count == 0);
        first = objects.front().get();
        last = objects.back().get();
        stamp.store(wanted, std::memory_order_release);
    }

private:
    static size_t stampOf(Objects const& objects) {
        std::hash<Object const*> const hash;
        return combine(combine(objects.size(), hash(objects.front().get())), hash(objects.back().get()));
    }

    std::atomic<size_t> stamp = 0; ///< Identifies the indexed objects.
    std::mutex mutex;
    size_t count = 0;
    Object const* first = nullptr;
    Object const* last = nullptr;
};

/// The index of one store.
struct StoreIndex {
    Indexed<X509Certificate> certs;
    PositionsByHash bySubject;
    PositionsByHash bySubjectAndKeyId;
    Indexed<X509Crl> crls;
    PositionsByHash byIssuer;

    void update(std::vector<std::shared_ptr<X509Certificate>> const& objects) {
        certs.update(objects, [&](X509Certificate const& certificate, bool isFirst) {
            if (isFirst) {
                bySubject.clear();
                bySubjectAndKeyId.clear();
            }
            size_t const subject = hashOf(certificate.subject);
            bySubject.add(subject);
            bySubjectAndKeyId.add(combine(subject, hashOf(certificate.subjectKeyId)));
        });
    }
    void update(std::vector<std::shared_ptr<X509Crl>> const& objects) {
        crls.update(objects, [&](X509Crl const& crl, bool isFirst) {
            if (isFirst)
                byIssuer.clear();
            byIssuer.add(hashOf(crl.issuer));
        });
    }
};

/// The indexes of all stores, by address. Nodes are never removed, so reading takes no lock; the node of a
/// destroyed store is reused. No thread may read a store during its destruction.
class Registry {
public:
    StoreIndex& findOrAdd(CertificateMemoryStore const& store) {
        if (Node* const known = find(&store))
            return *known->index;
        std::lock_guard const lock(mutex);
        if (Node* const known = find(&store)) // Another thread may have added it meanwhile.
            return *known->index;
        std::atomic<Node*>& list = listOf(&store);
        Node* node = find(list, nullptr);
        if (node == nullptr) {
            node = new Node;
            node->next = list.load(std::memory_order_relaxed);
            list.store(node, std::memory_order_release);
        }
        node->index = std::make_unique<StoreIndex>();
        node->store.store(&store, std::memory_order_release);
        return *node->index;
    }

    void drop(CertificateMemoryStore const& store) {
        Node* const node = find(&store);
        if (node == nullptr)
            return;
        node->index = nullptr;
        node->store.store(nullptr, std::memory_order_release);
    }

private:
    struct Node {
        std::atomic<CertificateMemoryStore const*> store = nullptr;
        std::unique_ptr<StoreIndex> index;
        Node* next = nullptr;
    };

    static Node* find(std::atomic<Node*> const& list, CertificateMemoryStore const* store) {
        Node* node = list.load(std::memory_order_acquire);
        while (node != nullptr && node->store.load(std::memory_order_acquire) != store)
            node = node->next;
        return node;
    }
    Node* find(CertificateMemoryStore const* store) { return find(listOf(store), store); }
    std::atomic<Node*>& listOf(CertificateMemoryStore const* store) {
        return lists[std::hash<void const*>()(store) / alignof(CertificateMemoryStore) % lists.size()];
    }

    std::mutex mutex;
    std::array<std::atomic<Node*>, 256> lists = {};
};

/// Never destroyed, because stores may be destroyed after any other object.
Registry& registry() {
    static Registry& all = *new Registry;
    return all;
}

template <typename Object, typename Matches>
std::shared_ptr<Object> findFirst(std::vector<std::shared_ptr<Object>> const& objects,
                                  PositionsByHash const& positions, size_t hash, Matches matches) {
    for (std::uint32_t at = positions.first(hash); at != PositionsByHash::none; at = positions.next(at))
        if (matches(*objects[at]))
            return objects[at];
    return nullptr;
}

} // namespace

void PositionsByHash::clear() {
    places.clear();
    used = 0;
    following.clear();
}

void PositionsByHash::add(size_t hash) {
    if (2 * (used + 1) > places.size())
        grow();
    auto const position = static_cast<std::uint32_t>(following.size());
    following.push_back(none);
    Place& place = findPlace(hash);
    if (place.first == none) {
        place = {hash, position, position};
        used++;
        return;
    }
    following[place.last] = position;
    place.last = position;
}

std::uint32_t PositionsByHash::first(size_t hash) const {
    return places.empty() ? none : const_cast<PositionsByHash*>(this)->findPlace(hash).first;
}

/// The place of the hash, or the free place for it.
PositionsByHash::Place& PositionsByHash::findPlace(size_t hash) {
    size_t at = hash % places.size();
    while (places[at].first != none && places[at].hash != hash)
        at = at + 1 == places.size() ? 0 : at + 1;
    return places[at];
}

void PositionsByHash::grow() {
    std::vector<Place> const before = std::exchange(places, std::vector<Place>(2 * places.size() + 61));
    for (Place const& place : before)
        if (place.first != none)
            findPlace(place.hash) = place;
}

std::shared_ptr<X509Certificate> findByIndex(CertificateMemoryStore const& store,
                                             DistinguishedName const& subject, asn1::blob keyId) {
    StoreIndex& index = registry().findOrAdd(store);
    index.update(store.certs);
    size_t const name = hashOf(subject);
    auto const matches = [&](X509Certificate const& certificate) {
        return isMatch(certificate, subject, keyId);
    };
    return keyId.empty()
               ? findFirst(store.certs, index.bySubject, name, matches)
               : findFirst(store.certs, index.bySubjectAndKeyId, combine(name, hashOf(keyId)), matches);
}

std::shared_ptr<X509Crl> findByIndex(CertificateMemoryStore const& store, DistinguishedName const& issuer) {
    StoreIndex& index = registry().findOrAdd(store);
    index.update(store.crls);
    return findFirst(store.crls, index.byIssuer, hashOf(issuer),
                     [&](X509Crl const& crl) { return isMatch(crl, issuer); });
}

std::vector<size_t> positionsNamed(CertificateMemoryStore const& store, DistinguishedName const& subject) {
    std::vector<size_t> named;
    auto const add = [&](size_t position) {
        if (store.certs[position]->subject == subject)
            named.push_back(position);
    };
    if (store.certs.size() <= maxUnindexed) {
        for (size_t position = 0; position < store.certs.size(); ++position)
            add(position);
        return named;
    }
    StoreIndex& index = registry().findOrAdd(store);
    index.update(store.certs);
    PositionsByHash const& positions = index.bySubject;
    for (std::uint32_t at = positions.first(hashOf(subject)); at != PositionsByHash::none;
         at = positions.next(at))
        add(at);
    return named;
}

std::vector<std::shared_ptr<X509Certificate>> findNamed(CertificateStore const& store,
                                                        DistinguishedName const& subject, asn1::blob keyId) {
    std::vector<std::shared_ptr<X509Certificate>> named;
    auto const* const listed = dynamic_cast<CertificateMemoryStore const*>(&store);
    if (listed == nullptr) {
        for (asn1::blob const id : {keyId, asn1::blob()})
            if (auto found = store.findCertificate(subject, id))
                named.push_back(std::move(found));
        return named;
    }
    for (size_t const position : positionsNamed(*listed, subject))
        named.push_back(listed->certs[position]);
    return named;
}

void dropIndex(CertificateMemoryStore const& store) { registry().drop(store); }

} // namespace detail
