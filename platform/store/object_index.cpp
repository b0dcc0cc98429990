#include "platform/store/object_index.h"

#include <algorithm>

namespace maren::store {
namespace {

std::string_view name_key(const CERT_NAME_BLOB &name) {
    return {reinterpret_cast<const char *>(name.pbData), name.cbData};
}

std::string_view sha1_key(const ContextCore &context) {
    const crypto::Sha1 &digest = context.object().sha1();
    return {reinterpret_cast<const char *>(digest.data()), digest.size()};
}
std::string_view issuer_key(const ContextCore &context) { return name_key(context.object().issuer()); }
std::string_view subject_key(const ContextCore &context) { return name_key(context.object().subject()); }
std::string_view key_id_key(const ContextCore &context) { return context.object().key_identifier(); }

bool by_order(const ContextCore *a, std::uint64_t order) { return a->order < order; }

}  // namespace

void ObjectIndex::add_to(BytesIndex &index, KeyOf key_of, ContextCore *context) {
    index[key_of(*context)].push_back(context);
}

void ObjectIndex::remove_from(BytesIndex &index, KeyOf key_of, ContextCore *context) {
    const std::string_view key = key_of(*context);
    auto it = index.find(key);
    if (it == index.end()) return;
    Bucket &bucket = it->second;
    bucket.erase(std::remove(bucket.begin(), bucket.end(), context), bucket.end());
    if (bucket.empty()) {
        index.erase(it);
    } else if (it->first.data() == key.data()) {
        auto node = index.extract(it);
        node.key() = key_of(*node.mapped().front());
        index.insert(std::move(node));
    }
}

void ObjectIndex::insert(ContextCore *context) {
    const EncodedObject &object = context->object();
    by_order_.emplace(context->order, context);
    by_size_[object.size()].push_back(context);
    add_to(by_issuer_, issuer_key, context);
    if (kind_ == ObjectKind::certificate) {
        add_to(by_sha1_, sha1_key, context);
        add_to(by_subject_, subject_key, context);
        add_to(by_key_id_, key_id_key, context);
    }
}

void ObjectIndex::erase(ContextCore *context) {
    const EncodedObject &object = context->object();
    if (by_order_.erase(context->order) == 0) return;
    auto size = by_size_.find(object.size());
    if (size != by_size_.end()) {
        Bucket &bucket = size->second;
        bucket.erase(std::remove(bucket.begin(), bucket.end(), context), bucket.end());
        if (bucket.empty()) by_size_.erase(size);
    }
    remove_from(by_issuer_, issuer_key, context);
    if (kind_ == ObjectKind::certificate) {
        remove_from(by_sha1_, sha1_key, context);
        remove_from(by_subject_, subject_key, context);
        remove_from(by_key_id_, key_id_key, context);
    }
}

const ObjectIndex::Bucket *ObjectIndex::bucket(const Query &query) const {
    const BytesIndex *index = nullptr;
    switch (query.index) {
    case IndexKey::sha1: index = &by_sha1_; break;
    case IndexKey::subject: index = &by_subject_; break;
    case IndexKey::issuer: index = &by_issuer_; break;
    case IndexKey::key_id: index = &by_key_id_; break;
    case IndexKey::existing: {
        auto it = by_size_.find(query.object->size());
        return it == by_size_.end() ? nullptr : &it->second;
    }
    case IndexKey::none: return nullptr;
    }
    auto it = index->find(query.key);
    return it == index->end() ? nullptr : &it->second;
}

bool ObjectIndex::accepts(const Query &query, const ContextCore &candidate) {
    if (query.index == IndexKey::existing && !candidate.object().same_bytes(*query.object)) return false;
    return query.accept == nullptr || query.accept(candidate, query.para);
}

ContextCore *ObjectIndex::next(const Query &query, const ContextCore *prev) const {
    if (query.index == IndexKey::none) {
        auto it = prev ? by_order_.upper_bound(prev->order) : by_order_.begin();
        for (; it != by_order_.end(); ++it)
            if (accepts(query, *it->second)) return it->second;
        return nullptr;
    }
    const Bucket *candidates = bucket(query);
    if (candidates == nullptr) return nullptr;
    auto it = candidates->begin();
    if (prev) it = std::lower_bound(candidates->begin(), candidates->end(), prev->order + 1, by_order);
    for (; it != candidates->end(); ++it)
        if (accepts(query, **it)) return *it;
    return nullptr;
}

ContextCore *ObjectIndex::find_equal(const EncodedObject &object) const {
    Query query;
    query.kind = kind_;
    query.index = IndexKey::existing;
    query.object = &object;
    return next(query, nullptr);
}

ContextCore *ObjectIndex::find_same_issuer(const EncodedObject &object) const {
    Query query;
    query.kind = kind_;
    query.index = IndexKey::issuer;
    query.key = name_key(object.issuer());
    return next(query, nullptr);
}

std::vector<ContextCore *> ObjectIndex::members() const {
    std::vector<ContextCore *> all;
    all.reserve(by_order_.size());
    for (const auto &entry : by_order_) all.push_back(entry.second);
    return all;
}

}  // namespace maren::store
