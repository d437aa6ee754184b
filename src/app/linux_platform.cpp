#include "app/linux_platform.h"

#include <optional>
#include <string>

#include <malloc.h>

#include "platform/linux/desktop/desktop_application_directory.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/files/system_random.h"
#include "platform/linux/libav/libav_export_session.h"
#include "platform/linux/libav/libav_media_asset.h"
#include "platform/linux/libav/libav_movie_writer.h"
#include "platform/linux/libav/libav_sound_reader.h"
#include "platform/linux/linux_capture.h"
#include "platform/linux/linux_permissions.h"
#include "platform/linux/pipewire/pipewire_audio_devices.h"
#include "platform/linux/pipewire/pipewire_audio_source.h"
#include "platform/linux/pipewire/pipewire_cameras.h"
#include "platform/linux/pipewire/pipewire_microphone_access.h"
#include "platform/linux/pocketsphinx/pocketsphinx_speech_recognizers.h"
#include "platform/linux/portal/portal_permissions.h"
#include "platform/linux/process/linux_process.h"
#include "platform/linux/process/linux_user_locale.h"
#include "platform/linux/sandbox.h"
#include "platform/linux/tesseract/leptonica_image_source.h"
#include "platform/linux/tesseract/tesseract_text_recognizer.h"
#include "platform/linux/x11/authority.h"
#include "platform/linux/x11/x11_application.h"
#include "platform/linux/x11/x11_screen_access.h"
#include "platform/linux/x11/x11_screen_source.h"
#include "platform/linux/x11/x11_shareable_content.h"

namespace quorvane::app {
namespace {

platform::LinuxCaptureSources captureSources(const support::Clock& clock) {
    return {.screen =
                [&clock](const platform::ContentFilter& filter,
                         const platform::StreamConfiguration& configuration) {
                    return platform::x11::makeX11ScreenSource(filter, configuration, clock);
                },
            .systemAudio = platform::pipewire::makePipeWireSystemAudioSource,
            .microphone = platform::pipewire::makePipeWireMicrophoneSource};
}

// Large blocks come from the system and go back to it: left to itself the allocator moves its
// threshold up and keeps the holes of growing tables, which took 180 instead of 148 MiB to mix the
// sound of a movie of two hours.
void giveLargeBlocksBack() {
    constexpr int largeBlock = 128 << 10;
    mallopt(M_MMAP_THRESHOLD, largeBlock);
    mallopt(M_TRIM_THRESHOLD, largeBlock);
}

platform::LinuxPermissionSources permissionSources() {
    return {.canReadScreen = [] { return platform::x11::canReadScreen(); },
            .microphoneAccess = platform::pipewire::microphoneAccess,
            .sandboxedApplication = platform::sandboxedApplication};
}

}  // namespace

struct LinuxPlatform::Adapters {
    platform::process::LinuxProcess process;
    support::AsioDispatch dispatch;
    platform::x11::X11ShareableContent shareableContent{
        std::make_shared<platform::desktop::DesktopApplicationDirectory>()};
    platform::LinuxCaptureService capture{captureSources(dispatch.clock()), dispatch.clock()};
    platform::libav::LibavMovieWriterFactory movieWriters{dispatch.clock()};
    platform::libav::LibavMediaAssets mediaAssets;
    platform::pipewire::PipeWireAudioDevices audioDevices;
    platform::portal::PortalPermissions portal;
    platform::LinuxPermissions permissions{permissionSources(), portal};
    platform::libav::LibavExportService exports;
    platform::files::LinuxFileManager files;
    platform::files::SystemRandom random;
    platform::process::LinuxUserLocale userLocale;
    platform::tesseract::LeptonicaImageSource images;
    platform::tesseract::TesseractTextRecognizer textRecognizer;
    platform::libav::LibavSoundReaders soundReaders;
    platform::pocketsphinx::PocketSphinxSpeechRecognizers speechRecognizers{soundReaders};
    platform::pipewire::PipeWireCameras cameras{dispatch.clock()};
    platform::x11::X11Application application{dispatch};
    platform::Platform ports{.dispatch = dispatch,
                             .process = process,
                             .shareableContent = shareableContent,
                             .capture = capture,
                             .movieWriters = movieWriters,
                             .mediaAssets = mediaAssets,
                             .audioDevices = audioDevices,
                             .permissions = permissions,
                             .exports = exports,
                             .files = files,
                             .random = random,
                             .userLocale = userLocale,
                             .images = images,
                             .textRecognizer = textRecognizer,
                             .speechRecognizers = speechRecognizers,
                             .cameras = cameras,
                             .application = application};
};

LinuxPlatform::LinuxPlatform() {
    giveLargeBlocksBack();
    platform::x11::nameAuthorityFile();
    adapters_ = std::make_unique<Adapters>();
}
LinuxPlatform::~LinuxPlatform() = default;

platform::Platform& LinuxPlatform::ports() {
    return adapters_->ports;
}
support::AsioDispatch& LinuxPlatform::dispatch() {
    return adapters_->dispatch;
}

}  // namespace quorvane::app
