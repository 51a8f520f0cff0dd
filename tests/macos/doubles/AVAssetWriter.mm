// Stand-ins for the asset writer and its input: their states, and what they raise.
#import <AVFoundation/AVFoundation.h>
#include <dispatch/dispatch.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>

#include "tests/macos/doubles/Ersatz.h"
#include "tests/macos/doubles/HKProbe.h"
#include "tests/macos/doubles/Schreiber.h"

AVFileType const AVFileTypeMPEG4 = @"public.mpeg-4";
AVVideoCodecType const AVVideoCodecTypeH264 = @"avc1";
NSString* const AVVideoCodecKey = @"AVVideoCodecKey";
NSString* const AVVideoWidthKey = @"AVVideoWidthKey";
NSString* const AVVideoHeightKey = @"AVVideoHeightKey";
NSString* const AVVideoCompressionPropertiesKey = @"AVVideoCompressionPropertiesKey";
NSString* const AVVideoAverageBitRateKey = @"AVVideoAverageBitRateKey";
NSString* const AVVideoMaxKeyFrameIntervalKey = @"AVVideoMaxKeyFrameIntervalKey";
NSString* const AVVideoProfileLevelKey = @"AVVideoProfileLevelKey";
NSString* const AVVideoProfileLevelH264MainAutoLevel = @"AVVideoProfileLevelH264MainAutoLevel";

using namespace hallkorb::ersatz;
using schreiber::Ruf;

namespace {

struct Stand {
  std::mutex lock;
  std::vector<double> zeiten;
  std::map<std::string, std::string> einstellungen;
  std::vector<std::string> rufe;
  __weak AVAssetWriter* letzter = nil;
  bool abschlussGehalten = false;
  std::vector<void (^)(bool)> abschluesse;
};
Stand& stand() {
  static auto& einer = *new Stand;
  return einer;
}
std::array<std::atomic<bool>, 10> wirft{};
std::atomic<bool> gibtKeinen{false};
std::atomic<bool> sagtWarum{true};
std::atomic<bool> eingangPasst{true};
std::atomic<bool> startScheitert{false};
std::atomic<bool> anhaengenScheitert{false};
std::atomic<bool> istBereit{true};
std::atomic<long> andererCode{0};
std::atomic<long> zuFrueh{0};

void merke(const char* ruf) {
  const std::lock_guard halter(stand().lock);
  stand().rufe.emplace_back(ruf);
}

std::string wertVon(id objekt) {
  if ([objekt isKindOfClass:[NSNumber class]]) return std::to_string([objekt integerValue]);
  return [static_cast<NSString*>(objekt) UTF8String];
}

void verlangeStand(bool erfuellt, Ruf ruf, const char* methode, long status) {
  if (erfuellt && !wirft.at(static_cast<std::size_t>(ruf))) return;
  wirf("NSInternalInconsistencyException", std::string("*** -[AVAssetWriter ") + methode +
                                               "] Cannot call method when status is " +
                                               std::to_string(status));
}

constexpr std::array<char, 4096> BILD_BYTES{};  // that a picture takes in the file
constexpr long DISK_FULL = -11807;              // AVErrorDiskFull

NSError* fehlschlag(long code) {
  const long anderer = andererCode;
  return fehlerMit(@"AVFoundationErrorDomain", anderer != 0 ? anderer : code,
                   code == DISK_FULL ? "There is not enough room on the disk"
                                     : "The operation could not be completed");
}

}  // namespace

@interface AVAssetWriterInput () {
 @public
  __weak AVAssetWriter* _schreiber;
  std::vector<HKProbe*> _proben;
  bool _fertig;
}
@end
@interface AVAssetWriter () {
 @public
  NSURL* _url;
  AVAssetWriterInput* _eingang;
  dispatch_queue_t _queue;
  std::atomic<long> _status;
  bool _hatBeginn;
  bool _wartet;  // for its completion
  double _letzte;
  int _datei;
}
- (void)hkScheitere:(long)code;
@end

@implementation AVAssetWriterInput
@synthesize expectsMediaDataInRealTime = _inEchtzeit;
+ (instancetype)assetWriterInputWithMediaType:(AVMediaType)art
                               outputSettings:(NSDictionary*)einstellungen {
  NSDictionary* kompression = einstellungen[AVVideoCompressionPropertiesKey];
  if ([einstellungen[AVVideoWidthKey] integerValue] <= 0 ||
      wirft.at(static_cast<std::size_t>(Ruf::eingang))) {
    wirf("NSInvalidArgumentException", "Video dimension must be positive");
  }
  AVAssetWriterInput* neu = [AVAssetWriterInput alloc];
  const std::lock_guard halter(stand().lock);
  stand().einstellungen.clear();
  for (NSString* name in @[ AVVideoCodecKey, AVVideoWidthKey, AVVideoHeightKey ])
    stand().einstellungen[name.UTF8String] = wertVon(einstellungen[name]);
  for (NSString* name in
       @[ AVVideoAverageBitRateKey, AVVideoMaxKeyFrameIntervalKey, AVVideoProfileLevelKey ])
    stand().einstellungen[name.UTF8String] = wertVon(kompression[name]);
  return neu;
}
- (BOOL)isReadyForMoreMediaData {
  return istBereit && !_fertig;
}
// Times must rise.
- (BOOL)appendSampleBuffer:(CMSampleBufferRef)probe {
  AVAssetWriter* schreiber = _schreiber;
  const long status = schreiber != nil ? schreiber->_status.load() : 0;
  verlangeStand(status == AVAssetWriterStatusWriting && schreiber->_hatBeginn && !_fertig,
                Ruf::haengeAn, "appendSampleBuffer:", status);
  HKProbe* neu = probeVon(probe);
  const double zeit = CMTimeGetSeconds(neu->zeit);
  if ((!_proben.empty() && zeit <= schreiber->_letzte) || anhaengenScheitert) {
    [schreiber hkScheitere:-11800];
    return NO;
  }
  if (::write(schreiber->_datei, BILD_BYTES.data(), BILD_BYTES.size()) !=
      static_cast<ssize_t>(BILD_BYTES.size())) {
    [schreiber hkScheitere:errno == ENOSPC ? DISK_FULL : -11800];
    return NO;
  }
  _proben.push_back(neu);
  schreiber->_letzte = zeit;
  const std::lock_guard halter(stand().lock);
  stand().zeiten.push_back(zeit);
  return YES;
}
- (void)markAsFinished {
  AVAssetWriter* schreiber = _schreiber;
  const long status = schreiber != nil ? schreiber->_status.load() : 0;
  verlangeStand(status == AVAssetWriterStatusWriting, Ruf::markiere, "markAsFinished", status);
  merke("markAsFinished");
  _fertig = true;
}
@end

@implementation AVAssetWriter {
  std::mutex _lock;
  NSError* _fehler;  // under the lock
}
@synthesize movieFragmentInterval = _abstand;
- (instancetype)initWithURL:(NSURL*)url fileType:(AVFileType)art error:(NSError**)error {
  _datei = -1;
  verlangeStand(true, Ruf::bau, "initWithURL:fileType:error:", 0);
  if (gibtKeinen) {
    if (sagtWarum && error != nullptr) *error = fehlschlag(-11841);
    return nil;
  }
  _url = url;
  _queue = dispatch_queue_create("schreiber", DISPATCH_QUEUE_SERIAL);
  const std::lock_guard halter(stand().lock);
  stand().letzter = self;
  stand().zeiten.clear();
  stand().rufe.clear();
  return self;
}
- (void)dealloc {
  if (_wartet) ++zuFrueh;
  if (_datei >= 0) ::close(_datei);
}
- (AVAssetWriterStatus)status {
  return static_cast<AVAssetWriterStatus>(_status.load());
}
- (NSError*)error {
  const std::lock_guard halter(_lock);
  return _fehler;
}
- (void)hkScheitere:(long)code {
  const std::lock_guard halter(_lock);
  _fehler = fehlschlag(code);
  _status = AVAssetWriterStatusFailed;
}
- (void)setMovieFragmentInterval:(CMTime)abstand {
  verlangeStand(_status == AVAssetWriterStatusUnknown, Ruf::fragmente,
                "setMovieFragmentInterval:", _status);
  merke("setMovieFragmentInterval:");
  _abstand = abstand;
}
- (BOOL)canAddInput:(AVAssetWriterInput*)eingang {
  return eingang != nil && _eingang == nil && eingangPasst;
}
- (void)addInput:(AVAssetWriterInput*)eingang {
  verlangeStand(_status == AVAssetWriterStatusUnknown, Ruf::fuegeHinzu, "addInput:", _status);
  merke("addInput:");
  _eingang = eingang;
  eingang->_schreiber = self;
}
// A file that is there already makes it fail.
- (BOOL)startWriting {
  verlangeStand(_status == AVAssetWriterStatusUnknown, Ruf::beginne, "startWriting", _status);
  merke("startWriting");
  if (!startScheitert) {
    _datei = ::open(_url.path.UTF8String, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  }
  if (_datei < 0) {
    [self hkScheitere:-11823];
    return NO;
  }
  _status = AVAssetWriterStatusWriting;
  return YES;
}
- (void)startSessionAtSourceTime:(CMTime)beginn {
  verlangeStand(_status == AVAssetWriterStatusWriting, Ruf::setzeBeginn,
                "startSessionAtSourceTime:", _status);
  merke("startSessionAtSourceTime:");
  _hatBeginn = true;
}
- (void)endSessionAtSourceTime:(CMTime)ende {
  verlangeStand(_status == AVAssetWriterStatusWriting, Ruf::setzeEnde,
                "endSessionAtSourceTime:", _status);
  merke("endSessionAtSourceTime:");
}
- (void)finishWritingWithCompletionHandler:(void (^)(void))fertig {
  verlangeStand(_status == AVAssetWriterStatusWriting, Ruf::schliesseAb,
                "finishWritingWithCompletionHandler:", _status);
  merke("finishWritingWithCompletionHandler:");
  _wartet = true;
  // Holds the writer weakly: what is shown is that the program keeps it.
  __weak AVAssetWriter* schwach = self;
  void (^abschluss)(bool) = ^(bool erfolg) {
    AVAssetWriter* schreiber = schwach;
    if (schreiber != nil) {
      schreiber->_wartet = false;
      schreiber->_eingang->_proben.clear();
      if (erfolg) {
        schreiber->_status = AVAssetWriterStatusCompleted;
      } else {
        [schreiber hkScheitere:-11800];
      }
    }
    fertig();
  };
  {
    const std::lock_guard halter(stand().lock);
    if (stand().abschlussGehalten) {
      stand().abschluesse.push_back(abschluss);
      return;
    }
  }
  dispatch_async(_queue, ^{
    abschluss(true);
  });
}
@end

namespace hallkorb::ersatz::schreiber {

void wirfBei(Ruf ruf, bool ja) {
  wirft.at(static_cast<std::size_t>(ruf)) = ja;
}
void keiner(bool ja, bool mitFehler) {
  gibtKeinen = ja;
  sagtWarum = mitFehler;
}
void nimmtEingang(bool ja) {
  eingangPasst = ja;
}
void scheitereBeimStart(bool ja) {
  startScheitert = ja;
}
void scheitereBeimAnhaengen(bool ja) {
  anhaengenScheitert = ja;
}
void scheitere() {
  @autoreleasepool {
    AVAssetWriter* letzter = nil;
    {
      const std::lock_guard halter(stand().lock);
      letzter = stand().letzter;
    }
    [letzter hkScheitere:-11800];
  }
}
void fehlercode(long code) {
  andererCode = code;
}
void bereit(bool ja) {
  istBereit = ja;
}

void halteAbschluss(bool ja) {
  const std::lock_guard halter(stand().lock);
  stand().abschlussGehalten = ja;
}
void lassAbschliessen(bool erfolg, int wieOft) {
  @autoreleasepool {
    std::vector<void (^)(bool)> alle;
    {
      const std::lock_guard halter(stand().lock);
      alle.swap(stand().abschluesse);
    }
    dispatch_queue_t queue = dispatch_queue_create("schreiber", DISPATCH_QUEUE_SERIAL);
    for (void (^abschluss)(bool) : alle) {
      dispatch_sync(queue, ^{
        for (int i = 0; i < wieOft; ++i)
          abschluss(erfolg);
      });
    }
  }
}

std::vector<double> zeiten() {
  const std::lock_guard halter(stand().lock);
  return stand().zeiten;
}
std::map<std::string, std::string> einstellungen() {
  const std::lock_guard halter(stand().lock);
  return stand().einstellungen;
}
std::vector<std::string> rufe() {
  const std::lock_guard halter(stand().lock);
  return stand().rufe;
}
long zuFruehFreigegeben() {
  return zuFrueh;
}

}  // namespace hallkorb::ersatz::schreiber

void hallkorb::ersatz::setzeSchreiberZurueck() {
  for (auto& ja : wirft)
    ja = false;
  schreiber::keiner(false);
  schreiber::nimmtEingang(true);
  schreiber::scheitereBeimStart(false);
  schreiber::scheitereBeimAnhaengen(false);
  schreiber::fehlercode(0);
  schreiber::bereit(true);
  schreiber::halteAbschluss(false);
  zuFrueh = 0;
  const std::lock_guard halter(stand().lock);
  stand().abschluesse.clear();
}
