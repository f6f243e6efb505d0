#pragma once

#include <memory>
#include <vector>

#include "services/KeyedList.h"

namespace bkfd {

class ItemNode;

/// One named parameter of an entry, with its values, usually one.
class ItemParam : public Object {
  public:
    explicit ItemParam(Text name) : name_(std::move(name)) {}
    ItemParam(const ItemParam&) = delete;
    ItemParam& operator=(const ItemParam&) = delete;

    const Text& Name() const { return name_; }
    KeyedList& Values() { return *values_; }
    /// The value at a position, counted from 1.
    const Variant& Values(std::int32_t position) const { return values_->Item(position); }

    /// Members by name: "Name", "Values" with or without a position.
    Variant Invoke(TextView name, std::span<Variant> arguments) override;

  private:
    Text name_;
    std::shared_ptr<KeyedList> values_ = std::make_shared<KeyedList>();
};

/// A set of parameters in insertion order, found by name.
class ValueBag : public Object {
  public:
    using Params = std::vector<std::shared_ptr<ItemParam>>;

    /// Makes a new parameter with that one value. A name that is there already is
    /// KeyAlreadyAssociated.
    ItemParam& Add(const Text& name, Variant value);
    /// A name that isn't there is InvalidProcedureCall. Names ignore case, as keys do.
    const std::shared_ptr<ItemParam>& Item(TextView name) const;
    bool Exists(TextView name) const;

    Params::const_iterator begin() const { return params_.begin(); }
    Params::const_iterator end() const { return params_.end(); }

    /// Members by name: "Item" and "Exists" with a name.
    Variant Invoke(TextView name, std::span<Variant> arguments) override;

  private:
    Params params_;  // a handful: searched in order
};

/// An ordered list of entries: an inventory.
class ItemList {
  public:
    using Nodes = std::vector<std::shared_ptr<ItemNode>>;

    /// A new entry at the end of the list.
    ItemNode& Add();
    Nodes::const_iterator begin() const { return nodes_.begin(); }
    Nodes::const_iterator end() const { return nodes_.end(); }

  private:
    Nodes nodes_;
};

/// One entry of an inventory.
class ItemNode : public Object {
  public:
    ItemNode() = default;
    ItemNode(const ItemNode&) = delete;
    ItemNode& operator=(const ItemNode&) = delete;

    /// The entry's identity: the class identifier of a helper object, a unique name for a startup
    /// item, a file name for a process or module.
    Text Id;

    ItemList& Children() { return children_; }
    const ItemList& Children() const { return children_; }
    ValueBag& params() const { return *Params(); }
    ItemParam& params(TextView name) const { return *Params()->Item(name); }

    /// Members by name: "Id", to read or with a new text; "params" with or without a name.
    Variant Invoke(TextView name, std::span<Variant> arguments) override;

  private:
    /// Made when it is first asked for: modules, of which there are many, have no parameters.
    const std::shared_ptr<ValueBag>& Params() const {
        if (params_ == nullptr) params_ = std::make_shared<ValueBag>();
        return params_;
    }

    ItemList children_;
    mutable std::shared_ptr<ValueBag> params_;
};

/// The list itself, for walking over it: a null list, which tells of a failed enumeration, is a
/// RuntimeError ObjectNotSet.
const ItemList& Walk(const std::shared_ptr<ItemList>& list);

}  // namespace bkfd
