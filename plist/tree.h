// A CFTree-like ordered tree whose every node carries a context record.
// A parent owns its children (shared); the link back to the parent is a
// plain pointer, cleared when the parent goes away.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

namespace cx::plist {

template <class Context>
class Tree : public std::enable_shared_from_this<Tree<Context>> {
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

  size_t child_count() const { return children_.size(); }
  // Null when out of range.
  Ref child_at(size_t index) const { return index < children_.size() ? children_[index] : nullptr; }
  Ref first_child() const { return child_at(0); }
  Ref next_sibling() const {
    if (!parent_) return nullptr;
    const auto& siblings = parent_->children_;
    const auto it = std::find_if(siblings.begin(), siblings.end(),
                                 [this](const Ref& s) { return s.get() == this; });
    return it == siblings.end() ? nullptr
                                : parent_->child_at(static_cast<size_t>(it - siblings.begin()) + 1);
  }
  const std::vector<Ref>& children() const { return children_; }

  // Adding a child fails when it already has a parent, or when it is this
  // node or one of its ancestors (which would make a cycle).
  bool append_child(Ref child) { return insert_child(children_.size(), std::move(child)); }
  bool prepend_child(Ref child) { return insert_child(0, std::move(child)); }
  // `index` past the end appends.
  bool insert_child(size_t index, Ref child) {
    if (!child || child->parent_) return false;
    for (const Tree* n = this; n; n = n->parent_)
      if (n == child.get()) return false;
    child->parent_ = this;
    const size_t at = std::min(index, children_.size());
    children_.insert(children_.begin() + static_cast<std::ptrdiff_t>(at), std::move(child));
    return true;
  }

  // Detaches this node from its parent; the caller's reference keeps it alive.
  void remove_from_parent() {
    if (!parent_) return;
    auto& siblings = parent_->children_;
    const auto it = std::find_if(siblings.begin(), siblings.end(),
                                 [this](const Ref& s) { return s.get() == this; });
    parent_ = nullptr;
    if (it != siblings.end()) siblings.erase(it);  // may release this node last
  }

 private:
  Context context_;
  Tree* parent_ = nullptr;
  std::vector<Ref> children_;
};

}  // namespace cx::plist
