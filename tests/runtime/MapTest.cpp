// Tree maps and hash maps: contents, shape, order, and what their iterators survive.

#include <gtest/gtest.h>

#include <algorithm>
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

class Hash : public Zef::HashMap<HashMember<Token>, Token> {
 public:
  using Member = HashMember<Token>;
  using Key = Token;

  void check() const { EXPECT_EQ(bucketCount() & (bucketCount() - 1), 0U); }
};

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

TEST(HashOrderDeathTest, AMemberIsNotInsertedTwice) {
  Hash map;
  Hash other;
  for (int i = 0; i < 2; ++i) map.insert(make<Hash::Member>(Token{0, i}));
  for (int i = 0; i < 2; ++i) {  // the second is the last of its chain
    for (Hash* into : {&map, &other}) {
      EXPECT_DEATH(into->insert(map.find(Token{0, i})), "Assertion `t->fwkHmNext\\(\\) == 0' failed");
    }
  }
}

// What both kinds of map share. Keys are taken from a universe of six in the map's own order, or are any numbers.
struct TreeKit {
  using Map = Tree;
  static std::vector<unsigned> universe() { return {0, 1, 5, 6, 0x80000000U, ~0U}; }
  static unsigned key(unsigned number) { return number; }
  static bool less(unsigned left, unsigned right) { return left < right; }
  static void checkSize(Map const& /*map*/) {}
};
struct HashKit {  // with a collision of hashes, and another of buckets
  using Map = Hash;
  static std::vector<Token> universe() { return {{0, 0}, {8, 1}, {2, 0}, {1, 1}, {1, 2}, {3, 0}}; }
  // Every fifth stands in one chain, in the order of keys.
  static Token key(unsigned number) {
    return {number % 5 == 0 ? 0x80000001U : number * 2654435761U, static_cast<int>(number)};
  }
  // Ascending reversed hash, then key.
  static bool less(Token const& left, Token const& right) {
    auto const place = [](Token const& key) { return std::pair(Zef::bitReverse(key.hashed), key); };
    return place(left) < place(right);
  }
  // It grows with its members, and shrinks with them.
  static void checkSize(Map const& map) {
    EXPECT_GE(map.bucketCount() * 2, map.count());
    EXPECT_LE(map.bucketCount(), 8 + map.count() * 2);
  }
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

TYPED_TEST(Maps, EveryOrderOfEntryAndEverySubsetThatLeaves) {
  auto const keys = TypeParam::universe();
  std::vector<std::size_t> entry = {0, 1, 2, 3, 4, 5};
  do {
    for (unsigned subset = 0; subset < 64; ++subset) {
      typename TestFixture::Map map;
      for (std::size_t const i : entry) {
        map.insert(make<typename TestFixture::Member>(keys[i]));
        if (subset == 0) map.check();
      }
      for (std::size_t const i : entry) {
        std::size_t const leaving = subset % 2 == 0 ? i : 5 - i;
        if (!this->has(subset, leaving)) continue;
        auto const gone = map.del(keys[leaving]);
        ASSERT_TRUE(gone);
        EXPECT_EQ(gone->fwkKey(), keys[leaving]);
        EXPECT_EQ(gone->word(), 1U);
        map.check();
      }
      EXPECT_EQ(walk(map), this->ordered(63 & ~subset));
      if (this->HasFailure()) FAIL() << testing::PrintToString(entry) << " without " << subset;
    }
  } while (std::next_permutation(entry.begin(), entry.end()));
  EXPECT_EQ(TestFixture::Member::alive, 0);
}

TYPED_TEST(Maps, ManyEnterAndLeaveAtRandom) {
  using Of = TestFixture;
  std::mt19937 random(20240229);
  for (unsigned const size : {15U, 33U, 100U, 400U}) {
    for (int pattern = 0; pattern < 12; ++pattern) {
      SCOPED_TRACE(testing::Message() << size << " keys, pattern " << pattern);
      typename Of::Map map;
      std::vector<typename Of::Key> keys;
      for (unsigned i = 0; i < size; ++i) keys.push_back(TypeParam::key(i));
      auto const check = [&](std::size_t from, std::size_t to) {
        ASSERT_EQ(map.count(), to - from);
        if (size > 50 && random() % 16 != 0) return;
        map.check();
        std::vector expected(&keys[from], &keys[to]);
        std::sort(expected.begin(), expected.end(), TypeParam::less);
        ASSERT_EQ(walk(map), expected);
      };
      if (pattern % 3 == 1) std::reverse(keys.begin(), keys.end());
      if (pattern % 3 == 2) std::shuffle(keys.begin(), keys.end(), random);
      for (unsigned i = 0; i < size; ++i) {
        EXPECT_FALSE(map.insert(make<typename Of::Member>(keys[i])));
        check(0, i + 1);
      }
      TypeParam::checkSize(map);
      if (pattern % 4 != 0) std::shuffle(keys.begin(), keys.end(), random);
      for (unsigned i = 0; i < size; ++i) {
        // One of an equal key replaces another in its place, and what left can come back.
        auto const old = map.find(keys[i]);
        auto const fresh = make<typename Of::Member>(keys[i]);
        ASSERT_EQ(map.insert(fresh), old);
        EXPECT_EQ(map.find(keys[i]), fresh);
        EXPECT_EQ(old->word(), 1U);
        EXPECT_EQ(fresh->word(), 2U);
        EXPECT_EQ(map.insert(old), fresh);
        check(i, size);
        ASSERT_EQ(map.del(keys[i]), old);
        U32 const version = map.version();
        EXPECT_FALSE(map.del(keys[i]));
        EXPECT_FALSE(map.find(keys[i]));
        EXPECT_EQ(map.version(), version) << "an absent key changes nothing";
        check(i + 1, size);
        if (this->HasFailure()) return;
      }
      TypeParam::checkSize(map);
    }
  }
  EXPECT_EQ(Of::Member::alive, 0);
}

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
