// Eight threads do traced work and write it to a log. One of them raises an exception. While they
// run, the switches of the logger are read from a pml file, and the log file is rotated.

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "qor/base/exception.h"
#include "qor/base/library.h"
#include "qor/log/log_factory.h"
#include "qor/log/log_tracer.h"
#include "qor/mt/thread.h"
#include "qor/pml/pml_stream.h"

namespace {

constexpr unsigned kThreads = 8;
constexpr unsigned kStrokes = 400;
constexpr unsigned kFailing = 3;  // the number of the pump that fails in its last stroke

qor::logger& book() {
    static qor::logger& log = qor::logger_factory::instance("BOOK");
    return log;
}

// After half of its strokes each pump increments halfWay, and waits until the settings are read.
std::atomic<unsigned> halfWay{0};
std::atomic<bool> settingsRead{false};

class Pump : public qor::SimpleThread {
public:
    explicit Pump(unsigned number)
        : SimpleThread(nullptr, ("pump" + std::to_string(number)).c_str()), number_(number) {}

protected:
    bool onLoop() override {
        QOR_TRACE(book(), "Pump::onLoop");
        try {
            stroke();
        } catch (const qor::Exception& e) {
            qor::writeExcptLog(book(), __FILE__, __LINE__, "Pump::onLoop", qor::istr(e.msg()));
        }
        if (strokes_ == kStrokes / 2) {
            if (++halfWay == kThreads) halfWay.notify_all();
            settingsRead.wait(false);
        }
        return ++strokes_ < kStrokes;
    }

private:
    void stroke() {
        QOR_TRACE(book(), "Pump::stroke");
        const std::string text = "stroke " + std::to_string(strokes_);
        if (book().infoOn()) {
            qor::writeInfoLog(book(), __FILE__, __LINE__, "Pump::stroke", text);
        }
        for (const char* const tag : {"PUMP.DEBUG", "VALVE.DEBUG"}) {
            if (book().debugOn() && book().appLog(tag)) {
                qor::writeDebugLog(book(), __FILE__, __LINE__, "Pump::stroke", text, tag);
            }
        }
        if (number_ == kFailing && strokes_ == kStrokes - 1) {
            QOR_THROW(qor::InvalidDataException, "Pump::stroke", "the pressure is below zero");
        }
    }

    unsigned number_;
    unsigned strokes_ = 0;
};

std::vector<std::string> linesOf(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);)
        lines.push_back(line.substr(0, line.find('\r')));
    return lines;
}

std::vector<std::filesystem::path> filesOf(const std::filesystem::path& log) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(log.parent_path())) {
        if (entry.path().filename().string().starts_with(log.stem().string())) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

// Prints the block of the exception, with the rules above and below it.
void showBlock(const std::vector<std::filesystem::path>& files) {
    for (const std::filesystem::path& file : files) {
        const std::vector<std::string> lines = linesOf(file);
        const auto isRule = [](const std::string& line) { return line.starts_with("-----"); };
        const auto title = std::find_if(lines.begin(), lines.end(), [&](const std::string& line) {
            return isRule(line) && line.find("[EXCEPTION]") != std::string::npos;
        });
        if (title == lines.end()) continue;
        const auto end = std::find_if(title + 1, lines.end(), isRule);
        std::for_each(title, end + 1, [](const std::string& line) { std::cout << line << '\n'; });
        return;
    }
    throw std::runtime_error("the failure is not in the log");
}

void show(const std::filesystem::path& log) {
    const std::vector<std::filesystem::path> files = filesOf(log);
    std::cout << "files:";
    for (const std::filesystem::path& file : files)
        std::cout << ' ' << file.filename().string() << '(' << file_size(file) << ')';
    std::cout << "\nthe failure:\n";
    showBlock(files);
    std::cout << "the last lines:\n";
    const std::vector<std::string> lines = linesOf(log);
    const auto first = lines.end() - std::min<std::ptrdiff_t>(8, std::ssize(lines));
    std::for_each(first, lines.end(), [](const std::string& line) { std::cout << line << '\n'; });
    if (!std::cout) throw std::runtime_error("the output cannot be written");
}

void run(const std::string& logPath, const std::string& settingsPath) {
    book().open(qor::istr(logPath));
    book().maxFileSize(256);
    book().maxFileCount(9);
    std::vector<qor::Handle<Pump>> pumps;
    for (unsigned i = 0; i < kThreads; ++i)
        pumps.emplace_back(new Pump(i));
    for (const qor::Handle<Pump>& pump : pumps)
        pump->startAndWait();
    for (unsigned pumpsThere = halfWay; pumpsThere < kThreads; pumpsThere = halfWay)
        halfWay.wait(pumpsThere);
    qor::pml::stream settings(settingsPath, qor::pml::from_file(), false);
    book().codec(settings);
    settingsRead = true;
    settingsRead.notify_all();
    for (const qor::Handle<Pump>& pump : pumps)
        pump->join();
    book().close();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: logbook LOGFILE SETTINGS.pml\n";
        return 2;
    }
    try {
        {
            const qor::InitFini library("logbook", false, 0);
            run(std::filesystem::absolute(argv[1]), argv[2]);
        }
        show(std::filesystem::absolute(argv[1]));
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "logbook: " << e.what() << '\n';
        return 1;
    }
}
