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

TEST(TreeTest, ChildOrderFollowsAppendPrependAndInsert) {
  auto root = Node::create("root");
  EXPECT_TRUE(root->append_child(Node::create("c")));
  EXPECT_TRUE(root->prepend_child(Node::create("a")));
  EXPECT_TRUE(root->insert_child(1, Node::create("b")));
  EXPECT_TRUE(root->insert_child(99, Node::create("d")));
  EXPECT_EQ(child_names(*root), "abcd");
  EXPECT_EQ(root->child_count(), 4u);
  EXPECT_EQ(root->child_at(2)->context(), "c");
  EXPECT_EQ(root->child_at(4), nullptr);
  EXPECT_EQ(root->child_at(3)->next_sibling(), nullptr);
  EXPECT_EQ(root->child_at(0)->parent(), root.get());
  EXPECT_EQ(root->parent(), nullptr);
  // No second parents and no cycles.
  auto other = Node::create("o");
  EXPECT_FALSE(other->append_child(root->child_at(0)));
  EXPECT_FALSE(root->child_at(0)->append_child(root));
  EXPECT_FALSE(root->append_child(root));
  EXPECT_FALSE(root->append_child(nullptr));
  EXPECT_EQ(root->child_count(), 4u);
}

TEST(TreeTest, RemoveFromParentDetachesButKeepsTheSubtree) {
  auto root = Node::create("r");
  auto mid = Node::create("m");
  root->append_child(mid);
  mid->append_child(Node::create("x"));
  root->append_child(Node::create("z"));
  mid->remove_from_parent();
  EXPECT_EQ(child_names(*root), "z");
  EXPECT_EQ(mid->parent(), nullptr);
  EXPECT_EQ(mid->next_sibling(), nullptr);
  EXPECT_EQ(child_names(*mid), "x");
  EXPECT_EQ(mid.use_count(), 1);
  mid->context() = "renamed";
  root->append_child(mid);
  EXPECT_EQ(root->child_at(1)->context(), "renamed");
  root.reset();  // a child outliving its parent loses the link
  EXPECT_EQ(mid->parent(), nullptr);
  EXPECT_EQ(mid->next_sibling(), nullptr);
}

}  // namespace
}  // namespace cx::plist
