#include <gtest/gtest.h>

#include <string>

#include "plist/tree.h"

namespace cx::plist {
namespace {

using Node = Tree<std::string>;

// The preference tree reaches a node's parent through the plain link, which
// must not outlive the parent.
TEST(TreeTest, ChildrenKeepTheirOrderAndOneParentWhileItLives) {
  auto root = Node::create("root");
  EXPECT_TRUE(root->append_child(Node::create("a")));
  EXPECT_TRUE(root->append_child(Node::create("b")));
  ASSERT_EQ(root->children().size(), 2u);
  const auto b = root->children()[1];
  EXPECT_EQ(b->context(), "b");
  EXPECT_EQ(b->parent(), root.get());
  // No second parents and no cycles.
  EXPECT_FALSE(Node::create("o")->append_child(b));
  EXPECT_FALSE(b->append_child(root));
  EXPECT_FALSE(root->append_child(root));
  root.reset();
  EXPECT_EQ(b->parent(), nullptr);
}

}  // namespace
}  // namespace cx::plist
