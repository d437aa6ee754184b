// All ports together, as the program is given them.
#pragma once

#include "platform/application_loop.h"
#include "platform/audio_devices.h"
#include "platform/camera_session.h"
#include "platform/capture_stream.h"
#include "platform/export_session.h"
#include "platform/file_manager.h"
#include "platform/image_source.h"
#include "platform/media_asset.h"
#include "platform/movie_writer.h"
#include "platform/permissions.h"
#include "platform/process.h"
#include "platform/random_source.h"
#include "platform/shareable_content.h"
#include "platform/speech_recognizer.h"
#include "platform/text_recognizer.h"
#include "platform/user_locale.h"
#include "support/dispatch.h"

namespace quorvane::platform {

// References that outlive everything built on them.
struct Platform {
    support::Dispatch& dispatch;
    Process& process;
    ShareableContentSource& shareableContent;
    CaptureService& capture;
    MovieWriterFactory& movieWriters;
    MediaAssets& mediaAssets;
    AudioDevices& audioDevices;
    Permissions& permissions;
    ExportService& exports;
    FileManager& files;
    RandomSource& random;
    UserLocale& userLocale;
    ImageSource& images;
    TextRecognizer& textRecognizer;
    SpeechRecognizers& speechRecognizers;
    Cameras& cameras;
    ApplicationLoop& application;
};

}  // namespace quorvane::platform
