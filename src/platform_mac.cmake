# The macOS shell: AVFoundation and Core Audio for sound, an event tap and
# synthesised Command-V for the key and the paste, Text Input Sources for
# the keyboard languages, AppKit for the overlay window, the sounds and the
# start-up alert, AuthenticationServices for sign-in, ServiceManagement for
# the login item, IOKit for the device's identity, Sparkle (when found) for
# updates. Every *_mac.mm is a thin layer of framework calls; what they
# decide is in the shared, tested code. Included by CMakeLists.txt.

set(PELLUM_CORE_PLATFORM_SOURCES base/random_bytes_mac.mm)
set(PELLUM_CORE_PLATFORM_LIBS "-framework Security")

set(PELLUM_CLIENT_PLATFORM_SOURCES
  base/info_dictionary_mac.mm
  account/browser_opener_mac.mm
  account/device_facts_mac.mm
  audio/capture_source_mac.mm
  audio/input_device_catalogue_mac.mm
  audio/system_log_mac.mm
  transcription/keyboard_languages_mac.mm)
set(PELLUM_CLIENT_PLATFORM_LIBS
  "-framework Foundation" "-framework AppKit" "-framework AVFoundation" "-framework CoreMedia"
  "-framework CoreAudio" "-framework Carbon" "-framework AuthenticationServices" "-framework IOKit"
  "-framework Security")
set(PELLUM_CLIENT_PLATFORM_PRIVATE_LIBS)

set(PELLUM_DESKTOP_PLATFORM_SOURCES
  app/launch_checks_mac.mm
  app/login_item_mac.mm
  audio/feedback_sounds_mac.mm
  keyboard/hotkey_manager_mac.mm
  keyboard/text_inserter_mac.mm
  ui/dictation_overlay_factory_mac.cpp
  ui/notch_screen_mac.mm
  ui/outside_click_monitor_mac.mm)
set(PELLUM_DESKTOP_PLATFORM_LIBS
  "-framework AppKit" "-framework ApplicationServices" "-framework CoreGraphics" "-framework ServiceManagement")

# Sparkle is not a Homebrew formula: point SPARKLE_FRAMEWORK at the
# Sparkle.framework of a Sparkle 2 release to build the updater in. Without
# it the program has no updater, as when "SUFeedURL" is empty.
find_library(SPARKLE_FRAMEWORK Sparkle)
if(SPARKLE_FRAMEWORK)
  list(APPEND PELLUM_DESKTOP_PLATFORM_SOURCES app/software_updater_mac.mm)
  list(APPEND PELLUM_DESKTOP_PLATFORM_LIBS ${SPARKLE_FRAMEWORK})
else()
  message(STATUS "Sparkle.framework not found (SPARKLE_FRAMEWORK): the program is built without an updater")
  list(APPEND PELLUM_DESKTOP_PLATFORM_SOURCES app/software_updater_none.cpp)
endif()

# Pellum.app: a menu-bar accessory (LSUIElement) that owns the sign-in
# callback's URL scheme, asks for the microphone with a reason, and carries
# the server addresses and the update feed as Info keys. Sparkle, when
# built in, goes into Contents/Frameworks.
function(pellum_make_app_bundle target)
  set_target_properties(${target} PROPERTIES
    MACOSX_BUNDLE TRUE
    OUTPUT_NAME ${PELLUM_BUNDLE_EXECUTABLE}
    MACOSX_BUNDLE_INFO_PLIST ${CMAKE_CURRENT_BINARY_DIR}/generated/Info.plist
    BUILD_RPATH "@executable_path/../Frameworks"
    INSTALL_RPATH "@executable_path/../Frameworks")
  if(SPARKLE_FRAMEWORK)
    add_custom_command(TARGET ${target} POST_BUILD
      COMMAND ${CMAKE_COMMAND} -E make_directory $<TARGET_BUNDLE_CONTENT_DIR:${target}>/Frameworks
      COMMAND ditto ${SPARKLE_FRAMEWORK} $<TARGET_BUNDLE_CONTENT_DIR:${target}>/Frameworks/Sparkle.framework
      VERBATIM)
  endif()
  install(TARGETS ${target} BUNDLE DESTINATION . COMPONENT desktop)
endfunction()
