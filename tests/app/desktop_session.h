#pragma once

#include <QImage>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRect>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tarvelo::testing {

// A desktop session on the rig for the tests of the program's windows: real
// programs from the distribution (a window manager, tray hosts, a
// compositor) run as child processes and are asked about through the same
// tools a user's scripts would use (xdotool, xwininfo, xprop).

// Runs a program to its end and returns what it printed on standard output.
QString runTool(const QString& program, const QStringList& arguments);

// A child process that ends with the object.
class Helper {
 public:
  Helper(const QString& program, const QStringList& arguments,
         const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment());
  ~Helper();
  QProcess& process() { return process_; }

 private:
  QProcess process_;
};

struct WindowState {
  std::uint32_t id = 0;
  QRect geometry;  // in root coordinates, without the window manager's frame
  bool viewable = false;
  int depth = 0;
};
WindowState windowState(std::uint32_t id);
// Windows whose WM_CLASS instance or name matches `pattern` (a regular expression).
std::vector<std::uint32_t> windowsOfClass(const QString& pattern);
std::vector<std::uint32_t> windowsNamed(const QString& pattern);
// The first viewable window of the class that `accept` takes.
std::optional<WindowState> findViewable(const QString& classPattern, const std::function<bool(const WindowState&)>& accept);
std::optional<std::uint32_t> activeWindow();
// Whether a compositing manager owns the screen's _NET_WM_CM_S0 selection.
bool compositorRunning();
// True while some process owns the XEmbed tray selection.
bool trayHostRunning();
// True while the window manager's work area leaves out part of the screen
// for a bar.
bool barsReserveSpace();
// xprop's reading of one property of a window.
QString windowProperty(std::uint32_t id, const QString& property);

void click(const QPoint& point, int button = 1);
void pressKeys(const QStringList& keys);

// Saves `image` as a test artifact in the build tree and returns its path.
QString saveArtifact(const QImage& image, const QString& name);

// Openbox, the window manager the session runs under.
class WindowManager {
 public:
  // Returns once openbox manages the screen, so the windows mapped next are
  // its to place.
  WindowManager();
  // Returns once it has let the screen go.
  ~WindowManager();

 private:
  Helper process_;
};

// The tray hosts: trayer speaks XEmbed; xfce4-panel's tray, on a private
// session bus of its own, hosts StatusNotifierItems (and XEmbed icons).
class TrayHost {
 public:
  enum class Kind { xembedTrayer, statusNotifierXfcePanel };
  explicit TrayHost(Kind kind);
  ~TrayHost();

  Kind kind() const { return kind_; }
  // The environment a tray application is started with, to find the host.
  QProcessEnvironment clientEnvironment() const { return clientEnvironment_; }
  // The bar the icons sit in.
  QRect bar() const { return bar_; }

 private:
  Kind kind_;
  QTemporaryDir home_;
  QProcessEnvironment clientEnvironment_;
  std::unique_ptr<Helper> bus_;
  std::unique_ptr<Helper> host_;
  QRect bar_;
};

// The program's face over the tests' own views, as its own process.
class DesktopApp {
 public:
  explicit DesktopApp(const QProcessEnvironment& environment);
  ~DesktopApp();

  void send(const QString& line);
  // Waits for a line on its standard output; the lines so far are kept.
  bool waitForLine(const QString& line, std::chrono::milliseconds timeout);
  bool waitForExit(std::chrono::milliseconds timeout);
  QStringList lines() const { return lines_; }
  QProcess& process() { return process_; }
  // For a failure's message: whether it still runs, what it wrote to
  // standard error, and the windows of its class.
  QString report() const;

 private:
  void readLines();
  QTemporaryDir configHome_;
  QProcess process_;
  QStringList lines_;
};

// The environment of a session with no tray host at all.
QProcessEnvironment noTrayEnvironment();

}  // namespace tarvelo::testing
