#include "model/input/EntityMib.h"
#include "model/input/Environment.h"
#include "model/input/Xcvr.h"
#include "runtime/reactors/Reactor.h"
#include "tests/host/Described.h"

namespace {

using EntityMib::FixedSystem;
using EntityMib::ParentIndex;

// Notes what it hears of a system, and how the system looks at that moment.
class Watcher : public Zef::Reactor<FixedSystem> {
 public:
  void onLabel() override {
    if (zefOnAttribute(FixedSystem::labelAttr, nullptr)) return;
    heard.push_back("label " + std::string(notifier()->label().view()));
  }
  void onSensor(ParentIndex key) override {
    if (zefOnKey(FixedSystem::sensorAttr, key, &Watcher::onSensor)) return;
    auto const sensor = notifier()->sensor(key);
    heard.push_back("sensor " + std::to_string(key.value()) +
                    (sensor
                         ? " is " + std::string(sensor->tag().view()) + " of " + std::string(notifier()->label().view())
                         : " is gone"));
  }
  std::span<Slot const> slots() const override {
    static Slot const watched[] = {{FixedSystem::labelAttr, &FixedSystem::NotifieeConst::onLabel}};
    return watched;
  }

  std::vector<std::string> heard;
};

struct Merge : testing::Test {
  void take(std::string const& text) { Vorlin::Merge(*live, *read(text), {}).apply(); }
  void takeSystem(std::string const& members) { take(R"({"status": {"fixedSystem": {)" + members + "}}}"); }
  template <class T = EntityMib::PhysicalEntity>
  Zef::Ptr<T> part(Steps const& below) const {
    Steps steps{"status", "fixedSystem"};
    steps.insert(steps.end(), below.begin(), below.end());
    return at<T>(live, steps);
  }
  Zef::Ptr<Watcher> watch() const {
    auto watcher = Zef::make<Watcher>();
    watcher->start(part<FixedSystem>({}));
    return watcher;
  }

  Zef::Ptr<Zef::Dir> const live = read("{}");
};

TEST_F(Merge, BringsAnyTreeToAnyOther) {
  std::string variant = everything;
  for (auto const& [from, to] :
       {std::pair<std::string, std::string>{R"("fan": { "1")", R"("fan": { "2")"},
        {R"("0": { "temperature")", R"("3": { "temperature")"},
        {"18000", "9000"},
        {R"("Management", "label": "1")", R"("Ethernet", "label": "2")"},
        {R"("sensor": "TempSensor")", R"("port": "Ethernet")"},
        {R"("xcvrConfigDir", "xcvrConfig", "Ethernet3/5")", R"("xcvrConfigDir", "xcvrConfig", "E")"},
        {R"("xcvrConfig": { "Ethernet3/5")", R"("xcvrConfig": { "E")"}}) {
    auto const found = variant.find(from);
    ASSERT_NE(found, std::string::npos) << from;
    variant.replace(found, from.size(), to);
  }
  std::vector<std::string> const texts{
      "{}", everything, variant,
      R"({"status": {"chassis": {"cardSlot": {"3": {"card": {"sensor": {"1": {"tag": "T"}}}}}}}})",
      R"({"xcvrStatusDir": {"xcvrStatus": {"Ethernet3/5": {}}}})"};
  for (auto const& from : texts) {
    for (auto const& to : texts) {
      take(from);
      take(to);
      EXPECT_EQ(dump(live), dump(read(to)));
    }
  }
}

TEST_F(Merge, KeepsWhatStandsInBothAndTellsOnceOfChangesWhenAllAreMade) {
  takeSystem(R"("label": "1", "sensor": {"1": {"tag": "T", "label": "1"}, "2": {"tag": "T"}})");
  auto const system = part({});
  auto const sensor = part({"sensor", "1"});
  auto const watcher = watch();
  takeSystem(R"("label": "1", "sensor": {"2": {"tag": "T"}, "1": {"label": "1", "tag": "T"}})");
  EXPECT_TRUE(watcher->heard.empty());
  takeSystem(R"("sensor": {"1": {"tag": "T", "label": "one"}, "3": {"tag": "A"}, "4": {"tag": "B"}}, "label": "2")");
  ASSERT_EQ(watcher->heard.size(), 4U);
  EXPECT_EQ(watcher->heard[0], "sensor 2 is gone");
  for (char const* change : {"label 2", "sensor 3 is A of 2", "sensor 4 is B of 2"})
    EXPECT_EQ(std::count(watcher->heard.begin(), watcher->heard.end(), change), 1) << change;
  EXPECT_EQ(part({}), system);
  EXPECT_EQ(part({"sensor", "1"}), sensor);
  EXPECT_EQ(sensor->label(), "one");
}

TEST_F(Merge, ReplacesWhatHasBecomeAnotherThing) {
  auto const gone = std::vector<std::string>{"sensor 1 is gone", "sensor 1 is VoltageSensor of "};
  auto const before = R"("sensor": {"1": {"tag": "TempSensor"}})";
  auto const after = R"("sensor": {"1": {"tag": "VoltageSensor"}})";
  takeSystem(before);
  auto const sensor = part({"sensor", "1"});
  auto const watcher = watch();
  takeSystem(after);
  EXPECT_EQ(watcher->heard, gone);
  EXPECT_NE(part({"sensor", "1"}), sensor);
  EXPECT_FALSE(sensor->parent());

  // The same from within a timer, where the end of a batch delivers nothing.
  takeSystem(before);
  watcher->heard.clear();
  auto const clock = Zef::make<Zef::Clock>("clock");
  auto const timer = Zef::make<Host::Timer>(clock, [&] { takeSystem(after); });
  timer->timeMinIs(0.0);
  clock->run();
  EXPECT_EQ(watcher->heard, gone);
}

TEST_F(Merge, PointsReferencesAtTheLiveObjects) {
  auto const taken = [&](std::string const& configs, char const* name) {
    take(R"({"coolingStatus": {"fan": {"F": {"properties": {"maxRpm": 100}}}}, "xcvrConfigDir": {"xcvrConfig": {)" +
         configs + R"(}}, "xcvrStatusDir": {"xcvrStatus": {"E": {"xcvrConfig": ["xcvrConfigDir", "xcvrConfig", ")" +
         name + R"("]}}}})");
    auto const config = at<Xcvr::XcvrConfig>(live, {"xcvrConfigDir", "xcvrConfig", name});
    EXPECT_EQ(at<Xcvr::XcvrStatus>(live, {"xcvrStatusDir", "xcvrStatus", "E"})->xcvrConfig(), config);
    return config;
  };
  auto const fan = [&] { return at<Environment::Cooling::FanStatus>(live, {"coolingStatus", "fan", "F"}); };
  taken(R"("A": {}, "B": {})", "A");
  auto const status = fan();
  taken(R"("A": {}, "B": {})", "B");
  EXPECT_TRUE(taken(R"("A": {}, "C": {"xcvrState": true})", "C")->xcvrState());
  EXPECT_EQ(fan(), status) << "properties with equal values are the same";
}

}  // namespace
