// Tree maps and hash maps: contents, shape, order, and what their iterators survive.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "runtime/collections/HashMap.h"
#include "runtime/collections/RbTreeMap.h"
#include "runtime/kit/Name.h"

namespace {

using Zef::make;
using Zef::Ptr;

// A key whose hash is chosen, so that collisions can be.
struct Token {
  U32 hashed;
  int number;
  U32 hash() const { return hashed; }
  auto operator<=>(Token const&) const = default;
};

template <class Key, class Link>
class Member : public Zef::PtrInterface, public Link {
 public:
  explicit Member(Key key) : key_(std::move(key)) { ++alive; }
  ~Member() override { --alive; }
  Key const& fwkKey() const { return key_; }
  static inline int alive = 0;

 private:
  Key key_;
};

template <class Key>
using TreeMember = Member<Key, Zef::RbTreeLink>;
template <class Key>
using HashMember = Member<Key, Zef::HashMapLink>;

// Looks into the tree: the colours, and the way up, are in the first word of a member's links.
class Tree : public Zef::RbTreeMap<TreeMember<unsigned>, unsigned> {
 public:
  using Member = TreeMember<unsigned>;
  using Key = unsigned;

  void check() const {
    std::vector<unsigned> keys;
    if (root() != nullptr) {
      EXPECT_FALSE(isRed(root()));
      EXPECT_EQ(parentOf(root()), nullptr);
    }
    blackHeight(root(), keys);
    EXPECT_EQ(keys.size(), count());
    EXPECT_TRUE(std::is_sorted(keys.begin(), keys.end(), std::less_equal<>()));
  }

 private:
  static std::uintptr_t word(Zef::RbTreeLink const* link) { return *reinterpret_cast<std::uintptr_t const*>(link); }
  static bool isRed(Zef::RbTreeLink const* link) { return link != nullptr && (word(link) & 1U) != 0; }
  static Zef::RbTreeLink const* parentOf(Zef::RbTreeLink const* link) {
    return reinterpret_cast<Zef::RbTreeLink const*>(word(link) & ~std::uintptr_t{1});
  }
  static int blackHeight(Zef::RbTreeLink const* link, std::vector<unsigned>& keys) {
    if (link == nullptr) return 1;
    for (auto const* child : {left(link), right(link)}) {
      if (child == nullptr) continue;
      EXPECT_EQ(parentOf(child), link);
      EXPECT_FALSE(isRed(link) && isRed(child));
    }
    int const onLeft = blackHeight(left(link), keys);
    keys.push_back(static_cast<Member const*>(link)->fwkKey());
    int const onRight = blackHeight(right(link), keys);
    EXPECT_EQ(onLeft, onRight);
    return onLeft + (isRed(link) ? 0 : 1);
  }
};

void insertAll(Tree& tree, std::vector<unsigned> const& keys) {
  for (unsigned const key : keys) tree.insert(make<Tree::Member>(key));
}

TEST(TreeShape, EveryOrderOfEntryAndOfLeaving) {
  for (unsigned size = 1; size <= 5; ++size) {
    std::vector<unsigned> entry(size);
    std::iota(entry.begin(), entry.end(), 0U);
    do {
      std::vector<unsigned> leaving(size);
      std::iota(leaving.begin(), leaving.end(), 0U);
      do {
        Tree tree;
        for (unsigned const key : entry) {
          tree.insert(make<Tree::Member>(key));
          tree.check();
        }
        for (unsigned const key : leaving) {
          Ptr<Tree::Member> const gone = tree.del(key);
          ASSERT_TRUE(gone);
          EXPECT_EQ(gone->fwkKey(), key);
          EXPECT_EQ(gone->word(), 1U);
          tree.check();
          if (HasFailure()) FAIL() << testing::PrintToString(entry) << testing::PrintToString(leaving);
        }
      } while (std::next_permutation(leaving.begin(), leaving.end()));
    } while (std::next_permutation(entry.begin(), entry.end()));
  }
  EXPECT_EQ(Tree::Member::alive, 0);
}

TEST(TreeShape, EverySubsetLeavesATreeOfSix) {
  std::vector<unsigned> entry = {0, 1, 2, 3, 4, 5};
  do {
    for (unsigned subset = 0; subset < 64; ++subset) {
      Tree tree;
      insertAll(tree, entry);
      for (unsigned key = 0; key < 6; ++key) {
        if (((subset >> key) & 1U) == 0) continue;
        ASSERT_TRUE(tree.del(key));
        tree.check();
      }
      for (unsigned key = 0; key < 6; ++key) EXPECT_EQ(tree.isMemberOf(key), ((subset >> key) & 1U) == 0);
      if (HasFailure()) FAIL() << testing::PrintToString(entry) << " without " << subset;
    }
  } while (std::next_permutation(entry.begin(), entry.end()));
}

TEST(TreeShape, LargeTreesStayBalanced) {
  std::mt19937 random(20240229);
  for (unsigned const size : {15U, 33U, 100U, 500U}) {
    std::vector<unsigned> keys(size);
    std::iota(keys.begin(), keys.end(), 0U);
    for (int pattern = 0; pattern < 12; ++pattern) {
      Tree tree;
      if (pattern % 3 == 1) std::reverse(keys.begin(), keys.end());
      if (pattern % 3 == 2) std::shuffle(keys.begin(), keys.end(), random);
      insertAll(tree, keys);
      tree.check();
      if (pattern % 4 != 0) std::shuffle(keys.begin(), keys.end(), random);
      for (unsigned const key : keys) {
        ASSERT_TRUE(tree.del(key));
        tree.check();
        ASSERT_FALSE(HasFailure());
      }
      std::sort(keys.begin(), keys.end());
    }
  }
}

TEST(TreeShape, AnEqualKeyReplacesInPlace) {
  for (unsigned key = 0; key < 15; ++key) {
    Tree tree;
    insertAll(tree, {7, 3, 11, 1, 5, 9, 13, 0, 2, 4, 6, 8, 10, 12, 14});
    Ptr<Tree::Member> const old = tree.find(key);
    auto const fresh = make<Tree::Member>(key);
    EXPECT_EQ(tree.insert(fresh), old);
    EXPECT_EQ(tree.find(key), fresh);
    EXPECT_EQ(old->word(), 1U);
    EXPECT_EQ(fresh->word(), 2U);
    tree.check();
    EXPECT_EQ(tree.insert(fresh), nullptr) << "itself";
    EXPECT_EQ(fresh->word(), 2U);
    EXPECT_TRUE(tree.insert(old)) << "what left can come back";
    tree.check();
    EXPECT_EQ(tree.count(), 15U);
  }
}

class Hash : public Zef::HashMap<HashMember<Token>, Token> {
 public:
  using Member = HashMember<Token>;
  using Key = Token;
};

// Ascending reversed hash, then key.
bool hashLess(Token const& left, Token const& right) {
  U32 const leftHash = Zef::bitReverse(left.hashed);
  U32 const rightHash = Zef::bitReverse(right.hashed);
  return leftHash != rightHash ? leftHash < rightHash : left < right;
}

template <class Map>
std::vector<typename Map::Key> walk(Map const& map) {
  std::vector<typename Map::Key> keys;
  for (auto at = map.iterator(); at; ++at) keys.push_back(at.key());
  return keys;
}

TEST(HashOrder, TheHashOfOneIsTheTopBit) {
  EXPECT_EQ(Zef::hashOf(1U), 0x80000000U);
  EXPECT_EQ(Zef::hashOf(U8{1}), 0x80000000U);
  EXPECT_EQ(Zef::hashOf(0x00010000U), 0x00008000U);
  EXPECT_EQ(Zef::hashOf(Token{1, 0}), 0x80000000U);
  EXPECT_EQ(Zef::hashOf(Zef::Name("a")), Zef::bitReverse(Zef::String8("a").hash()));
  // In a table of two buckets, 1 stands in the second one, behind 2, whose hash has the next bit.
  Zef::HashMap<HashMember<unsigned>, unsigned> map;
  for (unsigned const key : {1U, 2U}) map.insert(make<HashMember<unsigned>>(key));
  ASSERT_EQ(map.bucketCount(), 2U);
  EXPECT_EQ(map.iterator().key(), 2U);
}

TEST(HashOrder, IsThatOfTheReversedHashWhateverTheNumberOfBuckets) {
  std::mt19937 random(7);
  std::vector<Token> keys;
  for (int i = 0; i < 600; ++i) keys.push_back({static_cast<U32>(random()), i});
  for (int i = 0; i < 40; ++i) keys.push_back({0x80000001U, 1000 + i});  // all in one chain, in the order of keys
  for (U32 i = 0; i < 40; ++i) keys.push_back({i, 0});
  std::shuffle(keys.begin(), keys.end(), random);
  Hash map;
  std::vector<Token> present;
  auto const checkOrder = [&] {
    ASSERT_EQ(walk(map), present);
    ASSERT_EQ(map.count(), present.size());
    ASSERT_EQ(map.bucketCount() & (map.bucketCount() - 1), 0U);
    for (Token const& key : present) ASSERT_TRUE(map.isMemberOf(key));
  };
  unsigned most = 0;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    map.insert(make<Hash::Member>(keys[i]));
    present.insert(std::upper_bound(present.begin(), present.end(), keys[i], hashLess), keys[i]);
    if (i % 13 == 0 || i + 1 == keys.size()) checkOrder();
    most = std::max(most, map.bucketCount());
  }
  EXPECT_GE(most, 256U) << "it grows with its members";
  std::shuffle(keys.begin(), keys.end(), random);
  for (std::size_t i = 0; i < keys.size(); ++i) {
    ASSERT_TRUE(map.del(keys[i]));
    ASSERT_FALSE(map.del(keys[i]));
    present.erase(std::find(present.begin(), present.end(), keys[i]));
    if (i % 13 == 0 || i + 1 == keys.size()) checkOrder();
  }
  EXPECT_LE(map.bucketCount(), 8U) << "and shrinks with them";
  EXPECT_EQ(Hash::Member::alive, 0);
}

TEST(HashOrder, AnEqualKeyReplaces) {
  for (int key = 0; key < 9; ++key) {
    Hash map;
    for (int i = 0; i < 9; ++i) map.insert(make<Hash::Member>(Token{static_cast<U32>(i / 3), i}));
    std::vector<Token> const before = walk(map);
    Token const token{static_cast<U32>(key / 3), key};
    Ptr<Hash::Member> const old = map.find(token);
    auto const fresh = make<Hash::Member>(token);
    EXPECT_EQ(map.insert(fresh), old);
    EXPECT_EQ(map.find(token), fresh);
    EXPECT_EQ(old->word(), 1U);
    EXPECT_EQ(fresh->word(), 2U);
    EXPECT_EQ(map.count(), 9U);
    EXPECT_EQ(walk(map), before);
    EXPECT_EQ(map.insert(old), fresh) << "what left can come back";
  }
}

TEST(HashOrderDeathTest, AMemberIsNotInsertedTwice) {
  Hash map;
  for (int i = 0; i < 2; ++i) map.insert(make<Hash::Member>(Token{0, i}));
  Hash other;
  for (Hash* into : {&map, &other}) {
    for (int i = 0; i < 2; ++i) {  // the second is the last of its chain
      EXPECT_DEATH(into->insert(map.find(Token{0, i})), "Assertion `t->fwkHmNext\\(\\) == 0' failed");
    }
  }
  auto const member = map.find(Token{0, 1});
  map.deleteAll();
  other.insert(member);
}

// What both kinds of map share. Keys are taken from a universe of six in the map's own order.
struct TreeKit {
  using Map = Tree;
  static std::vector<unsigned> universe() { return {0, 1, 5, 6, 0x80000000U, ~0U}; }
};
struct HashKit {  // with a collision of hashes, and another of buckets
  using Map = Hash;
  static std::vector<Token> universe() { return {{0, 0}, {8, 1}, {2, 0}, {1, 1}, {1, 2}, {3, 0}}; }
};

template <class Kit>
class Maps : public testing::Test {
 public:
  using Map = typename Kit::Map;
  using Member = typename Map::Member;
  using Key = typename Map::Key;
  using Iterator = typename Map::IteratorConst;

  static bool has(unsigned set, std::size_t position) { return ((set >> position) & 1U) != 0; }
  // Members of the set stay the objects that they are; what is not in it leaves, the rest comes in.
  static void become(Map& map, unsigned set) {
    auto const keys = Kit::universe();
    for (std::size_t i = 0; i < keys.size(); ++i) {
      if (!has(set, i)) {
        map.del(keys[i]);
      } else if (!map.isMemberOf(keys[i])) {
        map.insert(make<Member>(keys[i]));
      }
    }
  }
  static std::vector<Key> ordered(unsigned set, std::size_t from = 0) {
    auto const keys = Kit::universe();
    std::vector<Key> present;
    for (std::size_t i = from; i < keys.size(); ++i) {
      if (has(set, i)) present.push_back(keys[i]);
    }
    return present;
  }
};

using Kits = testing::Types<TreeKit, HashKit>;
TYPED_TEST_SUITE(Maps, Kits);

TYPED_TEST(Maps, AnIteratorSurvivesEveryChangeAtEveryStop) {
  auto const keys = TypeParam::universe();
  for (unsigned before = 1; before < 64; ++before) {
    for (unsigned after = 0; after < 64; ++after) {
      for (std::size_t stop = 0; stop < keys.size(); ++stop) {
        if (!this->has(before, stop)) continue;
        typename TestFixture::Map map;
        this->become(map, before);
        auto at = map.iterator();
        while (at.key() != keys[stop]) ++at;
        this->become(map, after);
        ASSERT_EQ(at.key(), keys[stop]) << "the current member stays readable";
        std::vector<typename TestFixture::Key> visited;
        for (++at; at; ++at) visited.push_back(at.key());
        ASSERT_EQ(visited, this->ordered(after, stop + 1)) << before << " to " << after << " at " << stop;
      }
    }
  }
  EXPECT_EQ(TestFixture::Member::alive, 0);
}

TYPED_TEST(Maps, AMemberReplacedUnderAnIteratorIsNotVisitedAgain) {
  auto const keys = TypeParam::universe();
  for (std::size_t replaced = 0; replaced < keys.size(); ++replaced) {
    typename TestFixture::Map map;
    this->become(map, 63);
    std::vector<typename TestFixture::Key> visited;
    for (auto at = map.iterator(); at; ++at) {
      visited.push_back(at.key());
      if (visited.size() == 3) map.insert(make<typename TestFixture::Member>(keys[replaced]));
    }
    EXPECT_EQ(visited, keys);
  }
}

TYPED_TEST(Maps, DeletingWhileWalking) {
  typename TestFixture::Map map;
  this->become(map, 63);
  int visited = 0;
  for (auto at = map.iterator(); at; ++at, ++visited) EXPECT_TRUE(map.del(at.key()));
  EXPECT_EQ(visited, 6);
  EXPECT_EQ(map.count(), 0U);
  this->become(map, 63);
  auto at = map.iterator();
  map.deleteAll();
  EXPECT_EQ(TestFixture::Member::alive, 1) << "the iterator's own";
  ++at;
  EXPECT_FALSE(at);
  ++at;
  EXPECT_FALSE(at);
  EXPECT_FALSE(map.iterator());
  EXPECT_FALSE(typename TestFixture::Iterator());
}

TYPED_TEST(Maps, StartAt) {
  auto const keys = TypeParam::universe();
  for (unsigned set = 0; set < 64; ++set) {
    typename TestFixture::Map map;
    this->become(map, set);
    for (std::size_t from = 0; from < keys.size(); ++from) {
      std::vector<typename TestFixture::Key> visited;
      for (auto at = map.startAt(keys[from]); at; ++at) visited.push_back(at.key());
      ASSERT_EQ(visited, this->ordered(set, from)) << set << " from " << from;
    }
  }
}

TYPED_TEST(Maps, AnAbsentKeyChangesNothing) {
  typename TestFixture::Map map;
  this->become(map, 0b101010);
  U32 const version = map.version();
  EXPECT_FALSE(map.del(TypeParam::universe()[0]));
  EXPECT_FALSE(map.find(TypeParam::universe()[2]));
  EXPECT_EQ(map.version(), version);
  EXPECT_EQ(walk(map), this->ordered(0b101010));
}

TYPED_TEST(Maps, AnIteratorKeepsItsCollectionsOwner) {
  class Owner : public Zef::PtrInterface {
   public:
    typename TestFixture::Map map;
  };
  auto owner = make<Owner>();
  this->become(owner->map, 63);
  auto at = owner->map.iterator(owner);
  owner = nullptr;
  std::size_t visited = 0;
  for (; at; ++at) ++visited;
  EXPECT_EQ(visited, 6U);
}

TYPED_TEST(Maps, MembersThatLeaveMayLookAtTheMap) {
  struct Watcher {
    typename TestFixture::Map map;
  };
  // A member whose end walks the map that it was in.
  class Last final : public TestFixture::Member {
   public:
    Last(typename TestFixture::Key key, typename TestFixture::Map const& map, unsigned& seen)
        : TestFixture::Member(key), map_(map), seen_(seen) {}
    ~Last() override { seen_ += static_cast<unsigned>(walk(map_).size()) + 1; }

   private:
    typename TestFixture::Map const& map_;
    unsigned& seen_;
  };
  unsigned seen = 0;
  typename TestFixture::Map map;
  for (auto const& key : TypeParam::universe()) map.insert(make<Last>(key, map, seen));
  map.del(TypeParam::universe()[3]);
  EXPECT_EQ(seen, 6U);
  map.deleteAll();
  EXPECT_GE(seen, 11U);
}

}  // namespace
