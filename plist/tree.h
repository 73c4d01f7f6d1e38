// A CFTree-like ordered tree whose every node carries a context record.
// A parent owns its children (shared); the link back to the parent is a
// plain pointer, cleared when the parent goes away.
#pragma once

#include <memory>
#include <utility>
#include <vector>

namespace cx::plist {

template <class Context>
class Tree {
 public:
  using Ref = std::shared_ptr<Tree>;

  explicit Tree(Context context) : context_(std::move(context)) {}
  ~Tree() {
    for (const Ref& child : children_) child->parent_ = nullptr;
  }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;

  static Ref create(Context context = Context{}) {
    return std::make_shared<Tree>(std::move(context));
  }

  Context& context() { return context_; }
  const Context& context() const { return context_; }

  // Null for a root.
  Tree* parent() const { return parent_; }

  const std::vector<Ref>& children() const { return children_; }

  // Adding a child fails when it already has a parent, or when it is this
  // node or one of its ancestors (which would make a cycle).
  bool append_child(Ref child) {
    if (!child || child->parent_) return false;
    for (const Tree* n = this; n; n = n->parent_)
      if (n == child.get()) return false;
    child->parent_ = this;
    children_.push_back(std::move(child));
    return true;
  }

 private:
  Context context_;
  Tree* parent_ = nullptr;
  std::vector<Ref> children_;
};

}  // namespace cx::plist
