// What the object kit costs: pointers, maps, iteration, notification, and tracing that is off.

#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "runtime/collections/HashMap.h"
#include "runtime/collections/LinkQueue.h"
#include "runtime/collections/RbTreeMap.h"
#include "runtime/kit/Trace.h"
#include "runtime/reactors/Notifiee.h"
#include "runtime/reflection/Entity.h"

namespace {

// An observable with one attribute, of the shape that declared types have.
class Lamp : public Zef::Entity, public Zef::HashMapLink, public Zef::RbTreeLink, public Zef::LinkQueueLink<Lamp> {
 public:
  static constexpr Zef::AttributeId brightnessAttr = 258;

  class NotifieeConst : public Zef::NotifieeOf<Lamp, Zef::Entity::NotifieeConst> {
   public:
    virtual void onBrightness() {}
  };

  explicit Lamp(U32 key) : Entity("lamp"), key_(key) {}

  U32 const& fwkKey() const { return key_; }
  U32 brightness() const { return brightness_; }
  void brightnessIs(U32 brightness) {
    if (brightness_ == brightness) return;
    brightness_ = brightness;
    notify<NotifieeConst>(brightnessAttr, [](NotifieeConst& notifiee) { notifiee.onBrightness(); });
  }

 private:
  U32 key_;
  U32 brightness_ = 0;
};

// Hears of the change and does next to nothing.
class Counter : public Lamp::NotifieeConst {
 public:
  void onBrightness() override { ++count; }
  unsigned count = 0;
};

// Observes, and has no interest in what changes.
class Bystander : public Lamp::NotifieeConst {};

// Keys in an order that has nothing to do with the order of a map, spread as physical indexes are.
std::vector<U32> shuffledKeys(benchmark::State const& state) {
  std::vector<U32> keys;
  for (U32 i = 0; i < static_cast<U32>(state.range(0)); ++i) keys.push_back(1 + i * 100);
  std::shuffle(keys.begin(), keys.end(), std::mt19937(1));
  return keys;
}

template <class Map>
void fill(Map& map, std::vector<U32> const& keys) {
  for (U32 const key : keys) map.insert(Zef::make<Lamp>(key));
}

void ptrCopy(benchmark::State& state) {
  Zef::Ptr<Lamp> const lamp = Zef::make<Lamp>(1U);
  for (auto _ : state) {
    Zef::Ptr<Lamp> copy = lamp;
    benchmark::DoNotOptimize(copy);
  }
}
BENCHMARK(ptrCopy);

template <class Map>
void insertAndDelete(benchmark::State& state) {
  std::vector<Zef::Ptr<Lamp>> lamps;
  for (U32 const key : shuffledKeys(state)) lamps.push_back(Zef::make<Lamp>(key));
  Map map;
  for (auto _ : state) {
    for (auto const& lamp : lamps) map.insert(lamp);
    for (auto const& lamp : lamps) map.del(lamp->fwkKey());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

template <class Map>
void lookup(benchmark::State& state) {
  std::vector<U32> const keys = shuffledKeys(state);
  Map map;
  fill(map, keys);
  std::size_t next = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(map.find(keys[next]));
    if (++next == keys.size()) next = 0;
  }
}

template <class Map>
void walk(benchmark::State& state) {
  Map map;
  fill(map, shuffledKeys(state));
  for (auto _ : state) {
    for (auto at = map.iterator(); at; ++at) benchmark::DoNotOptimize(at->fwkKey());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

// As a table is walked: each step looks up the place where the one before it ended.
template <class Map>
void walkByKey(benchmark::State& state) {
  Map map;
  fill(map, shuffledKeys(state));
  for (auto _ : state) {
    U32 key = 0;
    for (auto at = map.startAt(key); at; at = map.startAt(key + 1)) key = at->fwkKey();
    benchmark::DoNotOptimize(key);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

using Hashed = Zef::HashMap<Lamp, U32>;
using Sorted = Zef::RbTreeMap<Lamp, U32>;
constexpr int smallest = 100;
constexpr int largest = 100'000;
BENCHMARK(lookup<Hashed>)->RangeMultiplier(10)->Range(smallest, largest);
BENCHMARK(lookup<Sorted>)->RangeMultiplier(10)->Range(smallest, largest);
BENCHMARK(walk<Hashed>)->RangeMultiplier(10)->Range(smallest, largest);
BENCHMARK(walk<Sorted>)->RangeMultiplier(10)->Range(smallest, largest);
BENCHMARK(walkByKey<Sorted>)->RangeMultiplier(10)->Range(smallest, largest);
BENCHMARK(insertAndDelete<Hashed>)->RangeMultiplier(10)->Range(smallest, largest);
BENCHMARK(insertAndDelete<Sorted>)->RangeMultiplier(10)->Range(smallest, largest);

void queueThrough(benchmark::State& state) {
  Zef::LinkQueue<Lamp> queue;
  Zef::Ptr<Lamp> const lamp = Zef::make<Lamp>(1U);
  for (auto _ : state) {
    queue.memberNew(lamp);
    benchmark::DoNotOptimize(queue.memberDel());
  }
}
BENCHMARK(queueThrough);

// One change told to a number of notifiees; with none it is the price of being observable.
template <class Observer>
void fanOut(benchmark::State& state) {
  Zef::Ptr<Lamp> const lamp = Zef::make<Lamp>(1U);
  std::vector<Zef::Ptr<Observer>> observers;
  for (int i = 0; i < state.range(0); ++i) {
    observers.push_back(Zef::make<Observer>());
    observers.back()->notifierIs(lamp);
    observers.back()->isRegisteredNotifieeIs(true);
  }
  U32 value = 0;
  for (auto _ : state) lamp->brightnessIs(++value);
  for (auto const& observer : observers) {
    if constexpr (requires { observer->count; }) {
      if (observer->count != value) state.SkipWithError("an observer missed a change");
    }
    observer->notifierIs(nullptr);
  }
}
BENCHMARK(fanOut<Counter>)->Arg(0)->Arg(1)->Arg(10)->Arg(100);
BENCHMARK(fanOut<Bystander>)->Arg(1)->Arg(10);

Zef::TraceHandle const traceHandle("Kit", false);

void traceOff(benchmark::State& state) {
  for (auto _ : state) {
    ZEF_TRACE(traceHandle, 2) << "never written";
    benchmark::ClobberMemory();
  }
}
BENCHMARK(traceOff);

}  // namespace
