// Entities, directories and singletons; and how a broken invariant ends the process.

#include "runtime/reflection/Entity.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "runtime/kit/Assert.h"
#include "runtime/reactors/Clock.h"
#include "runtime/reflection/ActivityManagerConfig.h"
#include "runtime/reflection/Type.h"

namespace {

using Zef::Dir;
using Zef::Entity;
using Zef::make;
using Zef::Ptr;

TEST(Directories, HoldEntitiesByName) {
  auto const root = make<Dir>("root");
  auto const lower = make<Dir>("snmp");
  root->entityIs(lower);
  Ptr<Entity> const leaf = Dir::_fwkType()->newEntity("entitymib", lower.get());
  EXPECT_EQ(leaf->uriPath(), "/root/snmp/entitymib");
  EXPECT_EQ(leaf->parent(), lower);
  EXPECT_EQ(lower->entity("entitymib"), leaf);
  EXPECT_FALSE(lower->entity("other"));
  Ptr<Entity> const a = make<Dir>("a"), b = make<Dir>("b");
  for (auto const& entity : {b, a}) lower->entityIs(entity);
  EXPECT_EQ(lower->entities(), (std::vector{a, b, leaf})) << "in the order of their names";

  auto const another = make<Dir>("entitymib");
  for (int i = 0; i < 2; ++i) lower->entityIs(another);
  EXPECT_EQ(lower->entity("entitymib"), another) << "one of the same name leaves";
  EXPECT_EQ(another->parent(), lower);
  EXPECT_EQ(another->word(), 2U);
  EXPECT_EQ(leaf->fullName(), "/entitymib");
  EXPECT_EQ(leaf->word(), 1U);

  EXPECT_EQ(lower->entityDel("entitymib"), another);
  EXPECT_FALSE(another->parent());
  EXPECT_FALSE(lower->entityDel("entitymib"));
}

TEST(Singletons, AreMadeOnce) {
  auto const* const type = Zef::ActivityManagerConfig::_fwkType();
  EXPECT_FALSE(Entity::singletonExists("Zef::NoSuchType"));
  Ptr<Entity> const made = Entity::singletonIs(type);
  EXPECT_EQ(Entity::singletonIs(type), made);
  EXPECT_EQ(Entity::singletonExists(Zef::typeName<Zef::ActivityManagerConfig>()), made);
  EXPECT_EQ(Zef::processClock(), static_cast<Zef::ActivityManagerConfig&>(*made).clock());
}

TEST(AssertionDeathTest, SaysWhatBrokeHereAndInTheSink) {
  auto const broken = [] {
    Zef::assertionSinkIs([](char const* message) { std::fprintf(stderr, "sink has: %s\n", message); });
    int const physEntity = 0;
    ZEF_ASSERT(physEntity);
  };
  EXPECT_DEATH(broken(), "EntityTest.cpp:[0-9]+: .*Assertion `physEntity' failed.*sink has: .*`physEntity' failed");
}

}  // namespace
