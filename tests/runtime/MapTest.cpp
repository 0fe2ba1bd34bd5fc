// Tree maps and hash maps: contents, shape, order, and what their iterators survive.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <random>

#include "runtime/collections/HashMap.h"
#include "runtime/collections/RbTreeMap.h"
#include "runtime/kit/Name.h"

namespace {

using Zef::make;

// A key whose hash is chosen, so that collisions can be.
struct Token {
  U32 hashed;
  int number;
  U32 hash() const { return hashed; }
  auto operator<=>(Token const&) const = default;
};

template <class Key, class Link>
class MemberOf : public Zef::PtrInterface, public Link {
 public:
  explicit MemberOf(Key key) : key_(key) { ++alive; }
  ~MemberOf() override {
    --alive;
    if (atTheEnd) atTheEnd();
  }
  Key const& fwkKey() const { return key_; }
  std::function<void()> atTheEnd;
  static inline int alive = 0;

 private:
  Key key_;
};

// What both kinds of map are tried with: a universe of six keys in the map's own order, any number of further keys, and
// what holds of the map between any two calls.
class Tree : public Zef::RbTreeMap<MemberOf<unsigned, Zef::RbTreeLink>, unsigned> {
 public:
  using Member = MemberOf<unsigned, Zef::RbTreeLink>;
  using Key = unsigned;
  static std::vector<Key> universe() { return {0, 1, 5, 6, 0x80000000U, ~0U}; }
  static Key key(unsigned number) { return number; }
  static bool less(Key left, Key right) { return left < right; }
  void check() const {
    EXPECT_FALSE(isRed(root()));
    EXPECT_TRUE(root() == nullptr || parentOf(root()) == nullptr);
    blackHeight(root());
  }

 private:
  // The colour, and the way up, are in the first word of a member's links.
  static std::uintptr_t word(Zef::RbTreeLink const* link) { return *reinterpret_cast<std::uintptr_t const*>(link); }
  static bool isRed(Zef::RbTreeLink const* link) { return link != nullptr && (word(link) & 1U) != 0; }
  static Zef::RbTreeLink const* parentOf(Zef::RbTreeLink const* link) {
    return reinterpret_cast<Zef::RbTreeLink const*>(word(link) & ~std::uintptr_t{1});
  }
  static int blackHeight(Zef::RbTreeLink const* link) {
    if (link == nullptr) return 1;
    for (auto const* child : {left(link), right(link)}) {
      EXPECT_TRUE(child == nullptr || parentOf(child) == link);
      EXPECT_FALSE(isRed(link) && isRed(child));
    }
    int const height = blackHeight(left(link));
    EXPECT_EQ(height, blackHeight(right(link)));
    return height + (isRed(link) ? 0 : 1);
  }
};

// In ascending reversed hash, then key. Its universe has a collision of hashes, and another of buckets.
class Hash : public Zef::HashMap<MemberOf<Token, Zef::HashMapLink>, Token> {
 public:
  using Member = MemberOf<Token, Zef::HashMapLink>;
  using Key = Token;
  static std::vector<Key> universe() { return {{0, 0}, {8, 1}, {2, 0}, {1, 1}, {1, 2}, {3, 0}}; }
  // Every fifth stands in one chain, in the order of keys.
  static Key key(unsigned number) {
    return {number % 5 == 0 ? 0x80000001U : number * 2654435761U, static_cast<int>(number)};
  }
  static bool less(Key const& left, Key const& right) {
    return std::pair(Zef::bitReverse(left.hashed), left) < std::pair(Zef::bitReverse(right.hashed), right);
  }
  // It grows with its members, and shrinks with them.
  void check() const {
    EXPECT_EQ(bucketCount() & (bucketCount() - 1), 0U);
    EXPECT_GE(bucketCount(), count());
    EXPECT_LE(bucketCount(), 4 * count() + 4);
  }
};

TEST(Hashes, AreReversed) {
  EXPECT_EQ(Zef::hashOf(U8{1}), 0x80000000U);
  EXPECT_EQ(Zef::hashOf(0x00010000U), 0x00008000U);
  EXPECT_EQ(Zef::hashOf(Zef::Name("a")), Zef::bitReverse(Zef::String8("a").hash()));
}

TEST(HashDeathTest, AMemberIsNotInsertedTwice) {
  Hash map;
  Hash other;
  for (int i = 0; i < 2; ++i) map.insert(make<Hash::Member>(Token{0, i}));
  EXPECT_EQ(map.bucketCount(), 2U);
  for (int i = 0; i < 2; ++i) {  // the second is the last of its chain
    for (Hash* into : {&map, &other}) {
      EXPECT_DEATH(into->insert(map.find(Token{0, i})), "Assertion `t->fwkHmNext\\(\\) == 0' failed");
    }
  }
}

template <class Map>
struct Maps : testing::Test {
  using Keys = std::vector<typename Map::Key>;

  ~Maps() override { EXPECT_EQ(Map::Member::alive, 0); }
  static Keys walk(typename Map::IteratorConst at) {
    Keys keys;
    for (; at; ++at) keys.push_back(at.key());
    return keys;
  }
  // Those of the universe that are in the set, from a position on.
  static Keys ordered(unsigned set, std::size_t from = 0) {
    auto const all = Map::universe();
    Keys keys;
    for (std::size_t i = from; i < all.size(); ++i) {
      if (((set >> i) & 1U) != 0) keys.push_back(all[i]);
    }
    return keys;
  }
  // What is not in the set leaves, the rest comes in; what is there already stays the object that it is, or is
  // replaced.
  static void become(Map& map, unsigned set, bool replaces = false) {
    for (auto const& key : ordered(63 & ~set)) map.del(key);
    for (auto const& key : ordered(set)) {
      if (replaces || !map.isMemberOf(key)) map.insert(make<typename Map::Member>(key));
    }
  }
};

using Both = testing::Types<Tree, Hash>;
TYPED_TEST_SUITE(Maps, Both);

TYPED_TEST(Maps, ManyEnterAndLeaveAtRandom) {
  std::mt19937 random(20240229);
  for (unsigned const size : {6U, 15U, 33U, 100U, 400U}) {
    for (int pattern = 0; pattern < (size > 50 ? 12 : 60); ++pattern) {
      SCOPED_TRACE(testing::Message() << size << " keys, pattern " << pattern);
      TypeParam map;
      typename TestFixture::Keys keys;
      for (unsigned i = 0; i < size; ++i) keys.push_back(TypeParam::key(i));
      auto const check = [&](std::size_t from, std::size_t to) {
        ASSERT_EQ(map.count(), to - from);
        if (size > 50 && random() % 16 != 0) return;
        map.check();
        std::vector expected(&keys[from], &keys[to]);
        std::sort(expected.begin(), expected.end(), TypeParam::less);
        ASSERT_EQ(this->walk(map.iterator()), expected);
      };
      if (pattern % 3 == 1) std::reverse(keys.begin(), keys.end());
      if (pattern % 3 == 2) std::shuffle(keys.begin(), keys.end(), random);
      for (unsigned i = 0; i < size; ++i) {
        EXPECT_FALSE(map.insert(make<typename TypeParam::Member>(keys[i])));
        check(0, i + 1);
      }
      if (pattern % 4 != 0) std::shuffle(keys.begin(), keys.end(), random);
      for (unsigned i = 0; i < size; ++i) {
        // One of an equal key replaces another in its place, and what left can come back.
        auto const old = map.find(keys[i]);
        auto const fresh = make<typename TypeParam::Member>(keys[i]);
        ASSERT_EQ(map.insert(fresh), old);
        EXPECT_EQ(map.find(keys[i]), fresh);
        EXPECT_EQ(old->word(), 1U);
        EXPECT_EQ(fresh->word(), 2U);
        EXPECT_EQ(map.insert(old), fresh);
        check(i, size);
        ASSERT_EQ(map.del(keys[i]), old);
        EXPECT_EQ(old->word(), 1U);
        U32 const version = map.version();
        EXPECT_FALSE(map.del(keys[i]));
        EXPECT_EQ(map.version(), version) << "an absent key changes nothing";
        check(i + 1, size);
        if (this->HasFailure()) return;
      }
    }
  }
}

TYPED_TEST(Maps, AnIteratorSurvivesEveryChangeAtEveryStop) {
  auto const keys = TypeParam::universe();
  for (unsigned before = 1; before < 64; ++before) {
    for (unsigned after = 0; after < 64; ++after) {
      for (std::size_t stop = 0; stop < keys.size(); ++stop) {
        for (bool const replaces : {false, true}) {
          TypeParam map;
          this->become(map, before);
          auto at = map.startAt(keys[stop]);
          EXPECT_EQ(this->walk(at), this->ordered(before, stop));
          if (((before >> stop) & 1U) == 0) continue;
          this->become(map, after, replaces);
          ASSERT_EQ(at.key(), keys[stop]) << "the current member stays readable";
          ASSERT_EQ(this->walk(++at), this->ordered(after, stop + 1)) << before << " to " << after << " at " << stop;
        }
      }
    }
  }
}

TYPED_TEST(Maps, AnIteratorKeepsItsMemberAndItsCollectionsOwner) {
  struct Owner : Zef::PtrInterface {
    TypeParam map;
  };
  auto const owner = make<Owner>();
  this->become(owner->map, 63);
  auto at = owner->map.iterator(owner);
  EXPECT_EQ(owner->word(), 2U);
  owner->map.deleteAll();
  EXPECT_EQ(TypeParam::Member::alive, 1);
  for (int i = 0; i < 2; ++i) EXPECT_FALSE(++at);
}

TYPED_TEST(Maps, MembersThatLeaveMayLookAtTheMap) {
  TypeParam map;
  std::size_t seen = 0;
  this->become(map, 63);
  for (auto at = map.iterator(); at; ++at) at->atTheEnd = [&] { seen += this->walk(map.iterator()).size() + 1; };
  map.del(TypeParam::universe()[3]);
  EXPECT_EQ(seen, 6U);
  map.deleteAll();
  EXPECT_GE(seen, 11U);
}

}  // namespace
