#include "audio/audio_input_device.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

AudioInputDevice device(std::string uid, bool bluetooth = false, bool builtIn = false) {
  return {0, uid, uid + " name", bluetooth, builtIn};
}

const auto kBuiltIn = device("builtin", false, true);
const auto kUsb = device("usb");
const auto kHeadset = device("headset", true, false);

TEST(InputDeviceChoice, BuiltInWinsWhateverTheOrder) {
  EXPECT_EQ(chooseInputDevice({kHeadset, kUsb, kBuiltIn}, std::nullopt).device, kBuiltIn);
}

TEST(InputDeviceChoice, WiredBeatsBluetoothWithoutBuiltIn) {
  const auto choice = chooseInputDevice({kHeadset, kUsb}, std::nullopt);
  EXPECT_EQ(choice.device, kUsb);
  EXPECT_EQ(choice.warning, std::nullopt);
}

TEST(InputDeviceChoice, OnlyBluetoothIsChosenWithAWarning) {
  const auto choice = chooseInputDevice({kHeadset}, std::nullopt);
  EXPECT_EQ(choice.device, kHeadset);
  EXPECT_EQ(choice.warning,
            "Pellum: only Bluetooth input available (headset name); recording will force HFP and "
            "degrade output audio quality");
}

TEST(InputDeviceChoice, TheAutomaticRulePrefersHardwareToVirtualSources) {
  AudioInputDevice filtered{1, "easyeffects_source", "Easy Effects Source", false, false, true};
  AudioInputDevice usb{2, "usb", "USB Mic", false, false};
  AudioInputDevice headset{3, "bt", "Headset", true, false};
  EXPECT_EQ(chooseInputDevice({filtered, usb}, std::nullopt).device, usb);
  // A virtual source still beats a Bluetooth-only choice, without a warning.
  const auto choice = chooseInputDevice({headset, filtered}, std::nullopt);
  EXPECT_EQ(choice.device, filtered);
  EXPECT_EQ(choice.warning, std::nullopt);
  // And it is chosen when stored.
  EXPECT_EQ(chooseInputDevice({usb, filtered}, std::string("easyeffects_source")).device, filtered);
}

TEST(InputDeviceChoice, StoredChoiceBeatsTheAutomaticRule) {
  EXPECT_EQ(chooseInputDevice({kBuiltIn, kHeadset}, std::string("headset")).device, kHeadset);
}

TEST(InputDeviceChoice, UnpluggedStoredDeviceFallsBackToTheRule) {
  EXPECT_EQ(chooseInputDevice({kHeadset, kBuiltIn}, std::string("gone")).device, kBuiltIn);
}

TEST(InputDeviceChoice, NoDevicesNoChoice) {
  const auto choice = chooseInputDevice({}, std::nullopt);
  EXPECT_EQ(choice.device, std::nullopt);
  EXPECT_EQ(choice.warning, std::nullopt);
}

CaptureSourceFacts hardwareSource() {
  CaptureSourceFacts facts;
  facts.index = 7;
  facts.name = "alsa_input.usb-mic";
  facts.description = "USB Microphone";
  facts.channels = 1;
  facts.isHardware = true;
  facts.bus = "usb";
  return facts;
}

TEST(InputDeviceFromSource, HardwareSourceIsListed) {
  const auto listed = inputDeviceFromSource(hardwareSource());
  ASSERT_TRUE(listed);
  EXPECT_EQ(*listed, (AudioInputDevice{7, "alsa_input.usb-mic", "USB Microphone", false, false}));
}

TEST(InputDeviceFromSource, OutputOnlyAndMonitorSourcesAreNeverListed) {
  auto noInput = hardwareSource();
  noInput.channels = 0;
  auto monitor = hardwareSource();
  monitor.isMonitor = true;
  EXPECT_EQ(inputDeviceFromSource(noInput), std::nullopt);
  EXPECT_EQ(inputDeviceFromSource(monitor), std::nullopt);
}

TEST(InputDeviceFromSource, VirtualSourcesAreListedAndMarked) {
  // A noise-suppression microphone (EasyEffects, NoiseTorch) has no
  // hardware flag; people choose it on purpose.
  auto filtered = hardwareSource();
  filtered.name = "easyeffects_source";
  filtered.description = "Easy Effects Source";
  filtered.isHardware = false;
  filtered.bus.clear();
  const auto listed = inputDeviceFromSource(filtered);
  ASSERT_TRUE(listed);
  EXPECT_TRUE(listed->isVirtual);
  EXPECT_FALSE(inputDeviceFromSource(hardwareSource())->isVirtual);
}

TEST(InputDeviceFromSource, MissingNameIsUnknownMissingUidIsNotListed) {
  auto unnamed = hardwareSource();
  unnamed.description.reset();
  EXPECT_EQ(inputDeviceFromSource(unnamed)->name, "Unknown");
  auto noUid = hardwareSource();
  noUid.name.clear();
  EXPECT_EQ(inputDeviceFromSource(noUid), std::nullopt);
}

TEST(InputDeviceFromSource, BluetoothAndBuiltInFlags) {
  auto headset = hardwareSource();
  headset.bus = "bluetooth";
  EXPECT_TRUE(inputDeviceFromSource(headset)->isBluetooth);
  auto internal = hardwareSource();
  internal.formFactor = "internal";
  EXPECT_TRUE(inputDeviceFromSource(internal)->isBuiltIn);
  auto pciWithoutFormFactor = hardwareSource();
  pciWithoutFormFactor.bus = "pci";
  EXPECT_TRUE(inputDeviceFromSource(pciWithoutFormFactor)->isBuiltIn);
  auto pciHeadset = hardwareSource();
  pciHeadset.bus = "pci";
  pciHeadset.formFactor = "headset";
  EXPECT_FALSE(inputDeviceFromSource(pciHeadset)->isBuiltIn);
}

CoreAudioDeviceFacts coreAudioDevice(std::uint32_t transport) {
  CoreAudioDeviceFacts facts;
  facts.id = 73;
  facts.inputChannels = 1;
  facts.transport = transport;
  facts.uid = "BuiltInMicrophoneDevice";
  facts.name = "MacBook Pro Microphone";
  return facts;
}

TEST(InputDeviceFromCoreAudio, ABuiltInMicrophone) {
  const auto device = inputDeviceFromCoreAudio(coreAudioDevice(core_audio_transport::kBuiltIn));
  ASSERT_TRUE(device);
  EXPECT_EQ(*device,
            (AudioInputDevice{73, "BuiltInMicrophoneDevice", "MacBook Pro Microphone", false, true}));
}

TEST(InputDeviceFromCoreAudio, BluetoothAndBluetoothLowEnergyAreBluetooth) {
  for (const auto transport : {core_audio_transport::kBluetooth, core_audio_transport::kBluetoothLE}) {
    const auto device = inputDeviceFromCoreAudio(coreAudioDevice(transport));
    ASSERT_TRUE(device);
    EXPECT_TRUE(device->isBluetooth);
    EXPECT_FALSE(device->isBuiltIn);
  }
}

TEST(InputDeviceFromCoreAudio, UsbAggregateAndUnknownTransportsAreNeither) {
  for (const std::uint32_t transport : {0x75736220u /* 'usb ' */, 0x67727570u /* 'grup' */, 0u}) {
    const auto device = inputDeviceFromCoreAudio(coreAudioDevice(transport));
    ASSERT_TRUE(device);
    EXPECT_FALSE(device->isBluetooth);
    EXPECT_FALSE(device->isBuiltIn);
    EXPECT_FALSE(device->isVirtual);
  }
}

TEST(InputDeviceFromCoreAudio, OutputOnlyHiddenVirtualAndUidlessDevicesAreNotListed) {
  auto outputOnly = coreAudioDevice(0);
  outputOnly.inputChannels = 0;
  auto hidden = coreAudioDevice(0);
  hidden.isHidden = true;
  auto noUid = coreAudioDevice(0);
  noUid.uid.reset();
  EXPECT_FALSE(inputDeviceFromCoreAudio(outputOnly));
  EXPECT_FALSE(inputDeviceFromCoreAudio(hidden));
  EXPECT_FALSE(inputDeviceFromCoreAudio(coreAudioDevice(core_audio_transport::kVirtual)));
  EXPECT_FALSE(inputDeviceFromCoreAudio(noUid));
}

TEST(InputDeviceFromCoreAudio, ANamelessDeviceIsUnknown) {
  auto facts = coreAudioDevice(0);
  facts.name.reset();
  EXPECT_EQ(inputDeviceFromCoreAudio(facts)->name, "Unknown");
}

TEST(InputDeviceFromCoreAudio, TheChoiceRulePrefersTheBuiltInOverAHeadsetListedFirst) {
  auto headset = coreAudioDevice(core_audio_transport::kBluetooth);
  headset.uid = "headset";
  const auto devices =
      std::vector{*inputDeviceFromCoreAudio(headset),
                  *inputDeviceFromCoreAudio(coreAudioDevice(core_audio_transport::kBuiltIn))};
  EXPECT_EQ(chooseInputDevice(devices, std::nullopt).device->uid, "BuiltInMicrophoneDevice");
}

}  // namespace
}  // namespace pellum
