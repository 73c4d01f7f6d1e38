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

TEST(TreeTest, ChildrenKeepTheirOrderAndOneParentWhileItLives) {
  auto root = Node::create("root");
  EXPECT_TRUE(root->append_child(Node::create("c")));
  EXPECT_TRUE(root->prepend_child(Node::create("a")));
  EXPECT_TRUE(root->insert_child(1, Node::create("b")));
  EXPECT_TRUE(root->insert_child(99, Node::create("d")));
  EXPECT_EQ(child_names(*root), "abcd");
  EXPECT_EQ(root->child_at(4), nullptr);
  EXPECT_EQ(root->child_at(0)->parent(), root.get());
  // No second parents and no cycles.
  auto other = Node::create("o");
  EXPECT_FALSE(other->append_child(root->child_at(0)));
  EXPECT_FALSE(root->child_at(0)->append_child(root));
  EXPECT_FALSE(root->append_child(root));
  EXPECT_FALSE(root->append_child(nullptr));
  EXPECT_EQ(root->child_count(), 4u);

  const auto c = root->child_at(2);
  root.reset();  // a child outliving its parent loses the link
  EXPECT_EQ(c->parent(), nullptr);
  EXPECT_EQ(c->next_sibling(), nullptr);
}

}  // namespace
}  // namespace cx::plist
