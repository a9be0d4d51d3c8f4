// Puts definitions into an order that C++ can take, and marks recursive ones.
#include <functional>
#include <set>

#include "asn1/asn1data/generator/stages.h"

namespace asn1gen {
namespace {

// For each definition the indexes of those that it uses.
using Edges = std::vector<std::vector<std::size_t>>;

Edges Reversed(const Edges& edges) {
    Edges reversed(edges.size());
    for (std::size_t from = 0; from < edges.size(); ++from) {
        for (const std::size_t to : edges[from]) reversed[to].push_back(from);
    }
    return reversed;
}

// All that use nothing, then all that use only those, and so on, the earliest first. What
// stands on a circle, or uses one, is missing.
std::vector<std::size_t> Sorted(const Edges& edges) {
    const Edges users = Reversed(edges);
    std::vector<std::size_t> open(edges.size());
    std::set<std::size_t> ready;
    for (std::size_t i = 0; i < edges.size(); ++i) {
        open[i] = edges[i].size();
        if (open[i] == 0) ready.insert(i);
    }
    std::vector<std::size_t> order;
    while (!ready.empty()) {
        const std::size_t next = *ready.begin();
        ready.erase(ready.begin());
        order.push_back(next);
        for (const std::size_t user : users[next]) {
            if (--open[user] == 0) ready.insert(user);
        }
    }
    return order;
}

// Members of circles, and what lies on a way from one circle to another.
std::vector<bool> OnCircles(const Edges& edges) {
    std::vector<bool> on(edges.size(), true);
    for (const std::size_t index : Sorted(edges)) on[index] = false;
    for (const std::size_t index : Sorted(Reversed(edges))) on[index] = false;
    return on;
}

using IsEdge = std::function<bool(const Definition& from, const Type& to)>;

// Between records; names of a record count as the record.
Edges EdgesOf(Model& model, const IsEdge& isEdge) {
    Edges edges(model.definitions.size());
    for (const auto& definition : model.definitions) {
        if (!definition->IsRecord()) continue;
        ForEachType(*definition, [&](Type& type) {
            const Definition* base = BaseDefinitionOf(type);
            if (base == nullptr || !base->IsRecord() || !isEdge(*definition, type)) return;
            edges[definition->index].push_back(base->index);
        });
    }
    return edges;
}

void OrderAliases(Model& model) {
    Edges edges(model.definitions.size());
    for (const auto& definition : model.definitions) {
        if (definition->type.kind == Kind::kReference) {
            edges[definition->index].push_back(definition->type.target->index);
        }
    }
    for (const std::size_t index : Sorted(edges)) {
        const Definition* definition = model.definitions[index].get();
        if (!definition->IsRecord()) model.aliases.push_back(definition);
    }
}

}  // namespace

void OrderDefinitions(Model& model, Diagnostics& diagnostics) {
    OrderAliases(model);
    const Edges all = EdgesOf(model, [](const Definition&, const Type&) { return true; });
    const std::vector<bool> recursive = OnCircles(all);
    for (const auto& definition : model.definitions) {
        definition->recursive = recursive[definition->index];
    }
    const Edges byValue = EdgesOf(model, [](const Definition& from, const Type&) {
        return from.type.kind == Kind::kSequence || from.type.kind == Kind::kSet;
    });
    const std::vector<bool> endless = OnCircles(byValue);
    for (const auto& definition : model.definitions) {
        if (!endless[definition->index]) continue;
        diagnostics.Report(definition->at, "'" + definition->name +
                                               "' contains itself by value; only a list or a "
                                               "CHOICE may lead back to it");
    }
    for (const std::size_t index : Sorted(byValue)) {
        if (model.definitions[index]->IsRecord()) {
            model.records.push_back(model.definitions[index].get());
        }
    }
}

}  // namespace asn1gen
