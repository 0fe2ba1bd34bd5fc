#include "collect/linux/transceivers/Transceiver.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <system_error>
#include <tuple>
#include <utility>

#include "collect/linux/transceivers/Fields.h"

namespace {

using namespace Collect;
using Bytes = std::array<std::uint8_t, 256>;

// A module's halves by device, bank and page; the test writes into them while it is read.
struct Image {
  std::map<std::tuple<int, int, int>, Bytes> pages;
  unsigned reads = 0;
  unsigned failing = 0;  // the read that fails; 0 for none
  int error = EIO;

  Bytes& page(int number = 0, int device = 0x50, int bank = 0) { return pages[{device, bank, number}]; }
  void text(Bytes& bytes, std::size_t at, std::size_t size, std::string const& what) {
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), size, ' ');
    std::copy(what.begin(), what.end(), bytes.begin() + static_cast<std::ptrdiff_t>(at));
  }
  static void word(Bytes& bytes, std::size_t at, int value) {
    bytes.at(at) = static_cast<std::uint8_t>(value >> 8);
    bytes.at(at + 1) = static_cast<std::uint8_t>(value);
  }
  static void words(Bytes& bytes, std::size_t at, std::initializer_list<int> values) {
    for (int const value : values) word(bytes, std::exchange(at, at + 2), value);
  }
  static void sum(Bytes& bytes, unsigned first, unsigned last, std::size_t at) {
    unsigned total = 0;
    for (unsigned i = first; i <= last; ++i) total += bytes.at(i);
    bytes.at(at) = static_cast<std::uint8_t>(total);
  }
};

struct ImageMemory : ModuleMemory {
  explicit ImageMemory(Image& of) : image(of) {}
  void read(ModuleAddress address, std::span<std::uint8_t> into) override {
    EXPECT_EQ(address.offset < 128, address.offset + into.size() <= 128) << "it crosses the middle";
    EXPECT_LE(address.offset + into.size(), 256U);
    int const page = address.offset < 128 ? 0 : address.page;
    auto const found = image.pages.find({address.device, address.bank, page});
    if (++image.reads == image.failing || found == image.pages.end())
      throw std::system_error(image.error, std::generic_category());
    std::copy_n(found->second.begin() + address.offset, into.size(), into.begin());
  }
  Image& image;
};

void sumSfp(Image& image) {
  Image::sum(image.page(), 0, 62, 63);
  Image::sum(image.page(), 64, 94, 95);
  Image::sum(image.page(0, 0x51), 0, 94, 95);
}

Image sfp(bool isExternal = false) {
  Image image;
  auto& base = image.page();
  base[0] = 0x03;
  base[3] = 0x20;  // 10GBASE-LR
  base[12] = 103;
  image.text(base, 20, 16, "KELVRA");
  image.text(base, 40, 16, "KX-10G-LR");
  image.text(base, 56, 4, "B1");
  image.text(base, 68, 16, "KV0001");
  image.text(base, 84, 8, "260117");
  base[92] = isExternal ? 0x58 : 0x68;
  auto& measured = image.page(0, 0x51);
  Image::words(measured, 0, {75 * 256, -5 * 256, 70 * 256, 0});
  Image::words(measured, 8, {36000, 30000, 35000, 31000});
  Image::words(measured, 16, {40000, 1000, 35000, 2000});
  Image::words(measured, 24, {20000, 1000, 15849, 1259});
  Image::words(measured, 32, {10000, 0, 10000, 1});
  Image::words(measured, 96, {-10 * 256 - 128, 33000, 17450, 10000, 0});
  sumSfp(image);
  return image;
}

void sumQsfp(Image& image) {
  Image::sum(image.page(), 128, 190, 191);
  Image::sum(image.page(), 192, 222, 223);
}

Image qsfp() {
  Image image;
  auto& base = image.page();
  base[0] = base[128] = 0x11;
  Image::words(base, 22, {40 * 256});
  Image::words(base, 26, {33000});
  Image::words(base, 34, {10000, 5012, 1, 65535});
  Image::words(base, 42, {17450, 17450, 0, 65535});
  Image::words(base, 50, {10000, 20000, 0, 1});
  base[131] = 0x80;
  base[192] = 0x03;  // 100GBASE-LR4
  image.text(base, 148, 16, "KELVRA");
  image.text(base, 168, 16, "KX-100G-LR4");
  image.text(base, 184, 2, "C2");
  image.text(base, 196, 16, "KV0100");
  image.text(base, 212, 8, "260117");
  base[220] = 0x0c;
  auto& limits = image.page(3);
  Image::words(limits, 128, {75 * 256, -5 * 256, 70 * 256, 0});
  Image::words(limits, 144, {36000, 30000, 35000, 31000});
  Image::words(limits, 176, {10000, 100, 5012, 200});
  Image::words(limits, 184, {40000, 1000, 35000, 2000});
  Image::words(limits, 192, {20000, 1000, 15849, 1259});
  sumQsfp(image);
  return image;
}

void sumCmis(Image& image) {
  Image::sum(image.page(), 128, 221, 222);
  Image::sum(image.page(1), 130, 254, 255);
  Image::sum(image.page(2), 128, 254, 255);
}

Image cmis(unsigned lanes = 8) {
  Image image;
  auto& base = image.page();
  base[0] = base[128] = 0x18;
  base[3] = 3U << 1U;  // ready
  Image::words(base, 14, {45 * 256 + 64, 33100});
  base[85] = 2;
  base[86] = 0x11;
  base[88] = static_cast<std::uint8_t>(0x80U | lanes);
  image.text(base, 129, 16, "KELVRA");
  image.text(base, 148, 16, "KX-400G-FR4");
  image.text(base, 164, 2, "01");
  image.text(base, 166, 16, "KV0400");
  image.text(base, 182, 8, "260117");
  auto& advertised = image.page(1);
  advertised[159] = 3;
  advertised[160] = 0x07 | 1U << 3U;  // a count of the bias is 4 uA
  auto& limits = image.page(2);
  Image::words(limits, 128, {75 * 256, -5 * 256, 70 * 256, 0, 36000, 30000, 35000, 31000});
  Image::words(limits, 176, {20000, 1000, 15849, 1259, 20000, 1000, 15000, 2000, 10000, 100, 5012, 200});
  for (int bank = 0; bank < 2; ++bank) {
    for (int lane = 0; lane < 8; ++lane) {
      auto& measured = image.page(0x11, 0x50, bank);
      Image::word(measured, 154 + 2 * static_cast<std::size_t>(lane), 10000);
      Image::word(measured, 170 + 2 * static_cast<std::size_t>(lane), 8725 + bank);
      Image::word(measured, 186 + 2 * static_cast<std::size_t>(lane), lane == 7 ? 0 : 1000 * (lane + 1));
    }
  }
  sumCmis(image);
  return image;
}

Transceiver readFrom(Image& image) { return Module(std::make_unique<ImageMemory>(image)).read(); }

void expectSame(Limits const& limits, std::array<double, 4> const& expected, double within = 0.0001) {
  EXPECT_NEAR(limits.highAlarm, expected[0], within);
  EXPECT_NEAR(limits.lowAlarm, expected[1], within);
  EXPECT_NEAR(limits.highWarning, expected[2], within);
  EXPECT_NEAR(limits.lowWarning, expected[3], within);
}

TEST(Transceiver, OfSff8472) {
  auto image = sfp();
  auto const module = readFrom(image);
  EXPECT_EQ(module.description, "SFP+ 10GBASE-LR");
  EXPECT_EQ(std::tie(module.mfgName, module.modelName, module.hardwareRev, module.serialNum, module.mfgDate),
            std::make_tuple("KELVRA", "KX-10G-LR", "B1", "KV0001", "260117"));
  EXPECT_TRUE(module.complaints.empty());
  ASSERT_EQ(module.readings.size(), 1U);
  EXPECT_EQ(module.readings[0].temperature, -10.5);
  EXPECT_EQ(module.readings[0].voltage, 3.3);
  EXPECT_EQ(module.readings[0].txBias, 34.9);
  EXPECT_EQ(module.readings[0].txPower, 0);
  EXPECT_EQ(module.readings[0].rxPower, -40);  // no light
  ASSERT_TRUE(module.limits);
  expectSame(module.limits->temperature, {75, -5, 70, 0});
  expectSame(module.limits->voltage, {3.6, 3, 3.5, 3.1});
  expectSame(module.limits->txBias, {80, 2, 70, 4});
  expectSame(module.limits->txPower, {3.0103, -10, 2, -8.9997});
  expectSame(module.limits->rxPower, {0, -40, 0, -40});
}

TEST(Transceiver, CalibratedByItsReader) {
  auto image = sfp(true);
  auto& measured = image.page(0, 0x51);
  auto const real = [&](std::size_t at, float value) {
    auto const bits = std::bit_cast<std::uint32_t>(value);
    Image::words(measured, at, {static_cast<int>(bits >> 16U), static_cast<int>(bits & 0xffffU)});
  };
  real(56, 0), real(60, 0), real(64, 1e-4F), real(68, 0.5F), real(72, 10);  // Rx_PWR(4) first
  Image::words(measured, 76, {2 * 256, -10});                               // bias: slope, offset
  Image::words(measured, 80, {256 + 128, 100});                             // power
  Image::words(measured, 84, {256, 5 * 256});                               // temperature
  Image::words(measured, 88, {256, -200});                                  // voltage
  Image::words(measured, 96, {20 * 256, 33000, 5000, 2000, 1000});
  sumSfp(image);
  auto module = readFrom(image);
  EXPECT_EQ(module.readings[0].temperature, 25);
  EXPECT_EQ(module.readings[0].voltage, 3.28);
  EXPECT_EQ(module.readings[0].txBias, 19.98);
  EXPECT_NEAR(*module.readings[0].txPower, 10 * std::log10(0.31), 1e-4);
  EXPECT_NEAR(*module.readings[0].rxPower, 10 * std::log10(0.0610), 1e-3);
  ASSERT_TRUE(module.limits);
  expectSame(module.limits->temperature, {80, 0, 75, 5});
  // Constants that give no number give no reading and no limits, and nothing else.
  for (float const wrong : {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), 1e30F}) {
    real(56, wrong);
    sumSfp(image);
    module = readFrom(image);
    EXPECT_FALSE(module.readings[0].rxPower);
    EXPECT_EQ(module.readings[0].temperature, 25);
    EXPECT_FALSE(module.limits);
  }
  // A wrong checksum is that of the constants.
  measured[95] ^= 1;
  module = readFrom(image);
  EXPECT_FALSE(module.readings[0].temperature);
  ASSERT_EQ(module.complaints.size(), 1U);
  EXPECT_TRUE(module.complaints[0].starts_with("CC_DMI is "));
}

TEST(Transceiver, OfSff8636) {
  auto image = qsfp();
  auto module = readFrom(image);
  EXPECT_EQ(module.description, "QSFP28 100GBASE-LR4");
  EXPECT_EQ(std::tie(module.mfgName, module.modelName, module.hardwareRev, module.serialNum, module.mfgDate),
            std::make_tuple("KELVRA", "KX-100G-LR4", "C2", "KV0100", "260117"));
  ASSERT_EQ(module.readings.size(), 4U);
  EXPECT_EQ(module.readings[0].temperature, 40);
  EXPECT_EQ(module.readings[0].voltage, 3.3);
  EXPECT_FALSE(module.readings[1].temperature);
  EXPECT_EQ(module.readings[0].rxPower, 0);
  EXPECT_EQ(module.readings[2].rxPower, -40);
  EXPECT_NEAR(*module.readings[3].rxPower, 8.1647, 1e-4);
  EXPECT_EQ(module.readings[3].txBias, 131.07);
  EXPECT_NEAR(*module.readings[1].txPower, 3.0103, 1e-4);
  ASSERT_TRUE(module.limits);
  expectSame(module.limits->txBias, {80, 2, 70, 4});
  expectSame(module.limits->txPower, {3.0103, -10, 2, -8.9997});
  expectSame(module.limits->rxPower, {0, -20, -2.9999, -16.9897});
  image.page()[220] = 0;  // the transmitted power is not measured
  sumQsfp(image);
  EXPECT_FALSE(readFrom(image).readings[0].txPower);
  image.page()[2] = 1;  // not ready
  EXPECT_FALSE(readFrom(image).readings[0].temperature);
  image.page()[2] = 4;  // flat
  image.pages.erase({0x50, 0, 3});
  module = readFrom(image);
  EXPECT_FALSE(module.limits);
  EXPECT_EQ(module.readings[0].temperature, 40);
  EXPECT_TRUE(module.complaints.empty());
}

TEST(Transceiver, OfCmis) {
  auto image = cmis();
  auto module = readFrom(image);
  EXPECT_EQ(module.description, "QSFP-DD single mode, 8 lanes");
  EXPECT_EQ(std::tie(module.mfgName, module.modelName, module.hardwareRev, module.serialNum, module.mfgDate),
            std::make_tuple("KELVRA", "KX-400G-FR4", "01", "KV0400", "260117"));
  ASSERT_EQ(module.readings.size(), 8U);
  EXPECT_EQ(module.readings[0].temperature, 45.25);
  EXPECT_EQ(module.readings[0].voltage, 3.31);
  EXPECT_EQ(module.readings[0].txBias, 34.9);
  EXPECT_EQ(module.readings[6].txPower, 0);
  EXPECT_NEAR(*module.readings[1].rxPower, -6.9897, 1e-4);
  EXPECT_EQ(module.readings[7].rxPower, -40);
  ASSERT_TRUE(module.limits);
  expectSame(module.limits->voltage, {3.6, 3, 3.5, 3.1});
  expectSame(module.limits->txBias, {80, 4, 60, 8});
  expectSame(module.limits->rxPower, {0, -20, -2.9999, -16.9897});
  image.page()[3] = 1U << 1U;  // low power
  module = readFrom(image);
  EXPECT_EQ(module.readings[0].temperature, 45.25);
  EXPECT_FALSE(module.readings[0].rxPower);
  image.page(1)[160] = 0x04;
  image.page()[3] = 3U << 1U;
  sumCmis(image);
  module = readFrom(image);
  EXPECT_TRUE(module.readings[0].rxPower);
  EXPECT_FALSE(module.readings[0].txPower);
  EXPECT_FALSE(module.readings[0].txBias);
  image = cmis(12);
  module = readFrom(image);
  ASSERT_EQ(module.readings.size(), 12U);
  EXPECT_EQ(module.readings[8].txBias, 34.904);  // of the second bank
  image = cmis();
  image.page()[2] = 0x80;
  image.pages = {{{0x50, 0, 0}, image.page()}};
  module = readFrom(image);
  EXPECT_EQ(module.lanes, 0U);
  EXPECT_TRUE(module.complaints.empty());
}

TEST(Transceiver, OfCopperHasNoReadingsAndNoComplaints) {
  auto passive = sfp();
  passive.page()[8] = 0x04;
  passive.page()[18] = 3;
  sumSfp(passive);
  auto active = qsfp();
  active.page()[147] = 0xd0;
  active.page()[146] = 5;
  sumQsfp(active);
  auto unequalized = qsfp();
  unequalized.page()[147] = 0xa0;
  sumQsfp(unequalized);
  auto direct = cmis();
  direct.page()[85] = 3;
  direct.page()[202] = 25;
  sumCmis(direct);
  for (auto& [image, description] : {std::pair{&passive, "SFP+ copper cable, 3 m"},
                                     {&active, "QSFP28 active copper cable, 5 m"},
                                     {&unequalized, "QSFP28 copper cable"},
                                     {&direct, "QSFP-DD copper cable, 2.5 m"}}) {
    auto const module = readFrom(*image);
    EXPECT_EQ(module.description, description);
    EXPECT_EQ(module.lanes, 0U);
    EXPECT_TRUE(module.readings.empty());
    EXPECT_TRUE(module.complaints.empty());
  }
}

TEST(Transceiver, SaysWhichChecksumIsWrong) {
  struct Wrong {
    Image image;
    int page, device;
    std::size_t at;
    char const* complaint;
    bool hasLimits;
  };
  for (auto& [image, page, device, at, complaint, hasLimits] :
       std::vector<Wrong>{{sfp(), 0, 0x50, 63, "CC_BASE is ", true},
                          {sfp(), 0, 0x50, 95, "CC_EXT is ", true},
                          {sfp(), 0, 0x51, 95, "CC_DMI is ", false},
                          {qsfp(), 0, 0x50, 191, "CC_BASE is ", true},
                          {qsfp(), 0, 0x50, 223, "CC_EXT is ", true},
                          {cmis(), 0, 0x50, 222, "the checksum of page 00h is ", true},
                          {cmis(), 1, 0x50, 255, "the checksum of page 01h is ", true},
                          {cmis(), 2, 0x50, 255, "the checksum of page 02h is ", false}}) {
    image.page(page, device).at(at) ^= 0x10;
    auto const module = readFrom(image);
    ASSERT_EQ(module.complaints.size(), 1U) << complaint;
    EXPECT_TRUE(module.complaints[0].starts_with(complaint)) << module.complaints[0];
    EXPECT_EQ(module.limits.has_value(), hasLimits) << complaint;
    EXPECT_EQ(module.mfgName, "KELVRA");
  }
  auto unknown = sfp();
  unknown.page()[0] = 0x06;
  auto const module = readFrom(unknown);
  EXPECT_EQ(module.kind, "unknown (06h)");
  EXPECT_EQ(module.complaints.size(), 1U);
}

// Whichever read fails, the module is not readable or has a complaint, and is whole when it can be read again.
TEST(Transceiver, SurvivesAReadThatFails) {
  for (auto const& make : {+[] { return sfp(); }, +[] { return qsfp(); }, +[] { return cmis(12); }}) {
    auto healthy = make();
    auto const expected = readFrom(healthy);
    unsigned const all = healthy.reads;
    EXPECT_GE(all, 3U);
    for (unsigned failing = 1; failing <= all; ++failing) {
      auto image = make();
      image.failing = failing;
      Module module(std::make_unique<ImageMemory>(image));
      try {
        auto const read = module.read();
        EXPECT_TRUE(read.readings.empty());
        EXPECT_EQ(read.serialNum, expected.serialNum);
        ASSERT_EQ(read.complaints.size(), 1U);
        EXPECT_TRUE(read.complaints[0].starts_with("its readings cannot be read: "));
      } catch (std::system_error const& error) {
        EXPECT_EQ(error.code().value(), EIO);
      }
      auto const read = module.read();
      EXPECT_TRUE(read.complaints.empty()) << failing;
      EXPECT_EQ(read.readings.size(), expected.readings.size());
      EXPECT_EQ(read.limits.has_value(), expected.limits.has_value()) << failing;
    }
  }
}

TEST(Transceiver, IsReadAnewWhenItIsAnotherOne) {
  auto image = qsfp();
  Module module(std::make_unique<ImageMemory>(image));
  module.read();
  unsigned const before = image.reads;
  Image::word(image.page(), 22, 50 * 256);
  EXPECT_EQ(module.read().readings[0].temperature, 50);
  EXPECT_EQ(image.reads - before, 2U);  // the limits are known
  image.text(image.page(), 196, 16, "KV0101");
  Image::word(image.page(3), 128, 60 * 256);
  sumQsfp(image);
  auto const other = module.read();
  EXPECT_EQ(other.serialNum, "KV0101");
  EXPECT_EQ(other.limits->temperature.highAlarm, 60);
  auto const single = sfp();
  image.pages = single.pages;
  EXPECT_EQ(module.read().serialNum, "KV0001");
}

TEST(Transceiver, WhateverItsBytesAre) {
  std::mt19937 random(7);
  for (int round = 0; round < 3000; ++round) {
    Image image = round % 3 == 0 ? sfp(round % 2 == 0) : round % 3 == 1 ? qsfp() : cmis();
    // All of it is noise, or some of it.
    for (auto& [where, bytes] : image.pages) {
      std::uint8_t const identifier = bytes[0];
      for (auto& byte : bytes) {
        if (round % 4 == 0 || random() % 16 == 0) byte = static_cast<std::uint8_t>(random());
      }
      if (round % 8 != 0) bytes[0] = identifier;
    }
    Module module(std::make_unique<ImageMemory>(image));
    Transceiver read;
    try {
      read = module.read();
    } catch (std::system_error const&) {
      continue;
    }
    EXPECT_LE(read.lanes, 16U);
    for (auto const* const text : {&read.kind, &read.description, &read.mfgName, &read.modelName, &read.serialNum,
                                   &read.hardwareRev, &read.mfgDate}) {
      EXPECT_TRUE(std::all_of(text->begin(), text->end(), [](char c) { return c >= 0x20 && c < 0x7f; }));
    }
    for (auto const& lane : read.readings) {
      for (auto const& value : {lane.temperature, lane.voltage, lane.txBias, lane.txPower, lane.rxPower}) {
        EXPECT_TRUE(!value || std::isfinite(*value));
      }
      EXPECT_LE(std::max(lane.txPower.value_or(0), lane.rxPower.value_or(0)), 20);
    }
    if (!read.limits) continue;
    for (auto const& limits : {read.limits->temperature, read.limits->txPower, read.limits->rxPower}) {
      EXPECT_TRUE(std::isfinite(limits.highAlarm) && std::isfinite(limits.lowAlarm));
    }
  }
}

TEST(ModuleMemory, OfAFile) {
  auto const file = std::filesystem::temp_directory_path() / ("module-" + std::to_string(getpid()));
  {
    std::ofstream stream(file, std::ios::binary);
    for (int half = 0; half < 6; ++half) stream << std::string(128, static_cast<char>('a' + half));
  }
  auto const memory = fileMemory(file);
  auto const at = [&](ModuleAddress address) {
    std::array<std::uint8_t, 4> bytes{};
    memory->read(address, bytes);
    return static_cast<char>(bytes[0]);
  };
  EXPECT_EQ(at({0x50, 0, 0, 0}), 'a');
  EXPECT_EQ(at({0x50, 0, 0, 128}), 'b');
  EXPECT_EQ(at({0x50, 3, 0, 0}), 'a');  // of the lower half there is one
  EXPECT_EQ(at({0x50, 3, 0, 128}), 'e');
  EXPECT_EQ(at({0x51, 0, 0, 96}), 'c');
  EXPECT_EQ(at({0x51, 2, 0, 128}), 'f');
  auto const errorOf = [&](auto const& call) {
    try {
      call();
    } catch (std::system_error const& error) {
      return error.code().value();
    }
    return 0;
  };
  EXPECT_EQ(errorOf([&] { at({0x51, 2, 0, 252}); }), 0);
  EXPECT_EQ(errorOf([&] { at({0x51, 3, 0, 128}); }), EIO);
  EXPECT_EQ(errorOf([&] { at({0x50, 0, 1, 128}); }), EOPNOTSUPP);
  std::filesystem::remove(file);
  EXPECT_EQ(errorOf([&] { at({0x50, 0, 0, 0}); }), ENOENT);
  // An interface without a cage, and none.
  std::array<std::uint8_t, 4> bytes{};
  EXPECT_EQ(errorOf([&] { ethtoolMemory("lo")->read({0x50, 0, 0, 0}, bytes); }), EOPNOTSUPP);
  EXPECT_EQ(errorOf([&] { ethtoolMemory("none-such")->read({0x50, 0, 0, 0}, bytes); }), ENODEV);
}

}  // namespace
