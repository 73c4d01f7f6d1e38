#include <gtest/gtest.h>

#include <string>

#include "plist/tree.h"

namespace cx::plist {
namespace {

using Node = Tree<std::string>;

std::string child_names(const Node& n) {
  std::string s;
  for (auto c = n.first_child(); c; c = c->next_sibling()) s += c->context();
  return s;
}

// The preference tree reaches a node's parent through the plain link, which
// must not outlive the parent.
TEST(TreeTest, ChildrenKeepTheirOrderAndOneParentWhileItLives) {
  auto root = Node::create("root");
  EXPECT_TRUE(root->append_child(Node::create("a")));
  EXPECT_TRUE(root->append_child(Node::create("b")));
  EXPECT_EQ(child_names(*root), "ab");
  const auto b = root->child_at(1);
  EXPECT_EQ(b->parent(), root.get());
  // No second parents and no cycles.
  EXPECT_FALSE(Node::create("o")->append_child(b));
  EXPECT_FALSE(b->append_child(root));
  EXPECT_FALSE(root->append_child(root));
  root.reset();
  EXPECT_EQ(b->parent(), nullptr);
  EXPECT_EQ(b->next_sibling(), nullptr);
}

}  // namespace
}  // namespace cx::plist
