#include "app/command_line.h"

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QCoreApplication>

#include <array>
#include <utility>

namespace tarvelo {

namespace {

ParsedCommandLine failure(const QString& reason) {
  ParsedCommandLine result;
  result.standardError = "tarvelo: " + reason.toStdString() + "\n";
  result.exitStatus = 2;
  return result;
}

}  // namespace

ParsedCommandLine parseCommandLine(const QStringList& arguments) {
  QCommandLineParser parser;
  parser.setApplicationDescription(
      QStringLiteral("Turns a second display into an ambient light. Started while it already runs, it hands its "
                     "option to the running copy; without an option it brings that copy's controls forward."));
  const QCommandLineOption help = parser.addHelpOption();
  const QCommandLineOption version = parser.addVersionOption();
  const QCommandLineOption settings(QStringLiteral("settings"), QStringLiteral("Open the Settings window."));
  const QCommandLineOption toggle(QStringLiteral("toggle"), QStringLiteral("Start or stop the lights."));
  const QCommandLineOption start(QStringLiteral("start"), QStringLiteral("Start the lights."));
  const QCommandLineOption stop(QStringLiteral("stop"), QStringLiteral("Stop the lights."));
  const QCommandLineOption verbose(
      QStringLiteral("verbose"),
      QStringLiteral("Every 10 seconds, print the frames captured per second, the frames drawn and the CPU time "
                     "per frame."));
  for (const QCommandLineOption& option : {settings, toggle, start, stop, verbose}) parser.addOption(option);

  if (!parser.parse(arguments)) return failure(parser.errorText());
  if (!parser.positionalArguments().isEmpty()) {
    return failure(QStringLiteral("unexpected argument '%1'").arg(parser.positionalArguments().constFirst()));
  }

  ParsedCommandLine result;
  if (parser.isSet(help)) {
    // Without the application object yet, Qt cannot name the program itself.
    QString text = parser.helpText();
    text.replace(QStringLiteral("<executable_name>"), QStringLiteral("tarvelo"));
    result.standardOutput = text.toStdString();
    return result;
  }
  if (parser.isSet(version)) {
    result.standardOutput =
        (QCoreApplication::applicationName() + u' ' + QCoreApplication::applicationVersion() + u'\n').toStdString();
    return result;
  }

  const std::array<std::pair<const QCommandLineOption*, InstanceCommand>, 4> commands{{
      {&settings, InstanceCommand::OpenSettings},
      {&toggle, InstanceCommand::ToggleLights},
      {&start, InstanceCommand::StartLights},
      {&stop, InstanceCommand::StopLights},
  }};
  LaunchOptions launch;
  launch.verbose = parser.isSet(verbose);
  for (const auto& [option, command] : commands) {
    if (!parser.isSet(*option)) continue;
    if (launch.command) {
      return failure(QStringLiteral("choose one of --settings, --toggle, --start and --stop"));
    }
    launch.command = command;
  }
  result.launch = launch;
  return result;
}

}  // namespace tarvelo
