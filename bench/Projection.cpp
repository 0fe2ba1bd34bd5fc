// What the projection costs: a changed reading, a changed status down to its row, and the coming of a whole switch.

#include <benchmark/benchmark.h>

#include <string>

#include "model/Constants.h"
#include "runtime/reactors/Activity.h"
#include "sm/Root.h"

namespace {

using EntityMib::ParentIndex;
using TempStatus = Environment::Temperature::TempSensorStatus;

// A fixed system with so many ports, each with an interface status, and one temperature sensor with its status.
class Switch {
 public:
  explicit Switch(unsigned ports) {
    root_->entityMibIs(Orvane::orvaneEntityMibFactory("entitymib"));
    root_->sensorMibIs(Orvane::orvaneSensorMibFactory("entitysensormib"));
    root_->stateMibIs(Orvane::orvaneStateMibFactory("entitystatemib"));
    root_->statusIs(status_);
    root_->intfStatusDirIs(interfaces_);
    root_->tempStatusIs(temperatures_);
    auto const system = Zef::make<EntityMib::FixedSystem>("fixedSystem");
    for (unsigned key = 1; key <= ports; ++key) {
      auto const port = system->newPort(ParentIndex(key));
      Zef::String8 const label = std::to_string(key).c_str();
      port->tagIs("Ethernet");
      port->labelIs(label);
      interfaces_->newIntfStatus(Morvet::IntfId(port->tag() + label));
    }
    auto const sensor = system->newSensor(ParentIndex(1));
    sensor->tagIs("TempSensor");
    sensor->labelIs("1");
    temperature_ = temperatures_->newTempSensor("TempSensor1");
    status_->fixedSystemIs(system);
  }

  void start() { root_->handleInitialized(); }
  TempStatus& temperature() { return *temperature_; }
  Orvane::Root& root() { return *root_; }

  static constexpr unsigned maxPorts = 512;

 private:
  Zef::Ptr<EntityMib::Status> status_ = Zef::make<EntityMib::Status>("status");
  Zef::Ptr<Interface::AllIntfStatusDir> interfaces_ = Zef::make<Interface::AllIntfStatusDir>("intfStatusDir");
  Zef::Ptr<Environment::Temperature::Status> temperatures_ = Zef::make<Environment::Temperature::Status>("tempStatus");
  Zef::Ptr<TempStatus> temperature_;
  Zef::Ptr<Orvane::Root> root_ = Orvane::rootFactory("root");
};

// A reading that somebody observes, and nobody reacts to.
void readingChanges(benchmark::State& state) {
  Switch device(48);
  device.start();
  float reading = 0;
  for (auto _ : state) device.temperature().temperatureIs(reading += 0.5F);
  state.counters["waiting"] = device.root().pendingStateTrapCount();
}
BENCHMARK(readingChanges);

// From a changed hardware status to the rewritten row and the waiting notification.
void statusChanges(benchmark::State& state) {
  Switch device(48);
  device.start();
  U32 status = 1;
  for (auto _ : state) device.temperature().hwStatusIs(TempStatus::HwStatus(status = 3 - status));
  state.counters["waiting"] = device.root().pendingStateTrapCount();
}
BENCHMARK(statusChanges);

// A cold start: rows, names, states, mirrors, a waiting notification for each port.
void coldStart(benchmark::State& state) {
  auto const ports = static_cast<unsigned>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    Switch device(ports);
    state.ResumeTiming();
    device.start();
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(coldStart)->RangeMultiplier(8)->Range(8, Switch::maxPorts)->Unit(benchmark::kMillisecond);

}  // namespace
