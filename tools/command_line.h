#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "failure.h"
#include "inspection/image.h"

namespace CLI {
class App;
}

/** Words and what they stand for. */
template <class Value>
using Choice = std::vector<std::pair<std::string, Value>>;

/**
 * The options of one command. What they are stored in has to live until the command has run.
 * Every value that an option starts with is shown in the help as its default.
 */
class Command {
  public:
    explicit Command(CLI::App& app) : app_(&app) {}

    /** A file that has to be named; `name` is a placeholder such as FILE. */
    void file(const std::string& name, std::string& file, const std::string& description);

    /** One or more files. */
    void files(const std::string& name, std::vector<std::string>& files,
               const std::string& description);

    /** -o. `misfit` says what is wrong with a name; nothing if it is good. */
    void output(std::string& file, const std::string& description,
                const std::function<std::string(const std::string&)>& misfit = nullptr,
                bool isRequired = true);

    /** -o for a PNG picture. */
    void pictureOutput(std::string& file, bool isRequired = true);

    /** A PNG picture to be written that may be asked for. */
    void picture(const std::string& name, std::string& file, const std::string& description);

    /** Words that may be left out, for a position. */
    void position(const std::string& name, std::vector<std::string>& words,
                  const std::string& description);

    /** An option without a value. */
    void flag(const std::string& name, bool& value, const std::string& description);

    /** A text or a file's name that may be given; `kind` is a placeholder such as FILE. */
    void text(const std::string& name, std::string& text, const std::string& kind,
              const std::string& description);

    /** The same, as often as one likes. */
    void texts(const std::string& name, std::vector<std::string>& texts, const std::string& kind,
               const std::string& description);

    /** Refuses an option without another one, or with it. */
    void needs(const std::string& name, const std::string& other);
    void excludes(const std::string& name, const std::string& other);

    /** A number from `low` to `high`. */
    void number(const std::string& name, int32_t& value, int32_t low, int32_t high,
                const std::string& description);
    void number(const std::string& name, double& value, double low, double high,
                const std::string& description);

    /** The same without a default: nothing unless it is given. */
    void number(const std::string& name, std::optional<int32_t>& value, int32_t low, int32_t high,
                const std::string& description);
    void number(const std::string& name, std::optional<double>& value, double low, double high,
                const std::string& description);

    /** One of several words. */
    template <class Value>
    void choice(const std::string& name, Value& value, const Choice<Value>& choice,
                const std::string& description) {
        Choice<int> numbered;
        for (const auto& [word, meaning] : choice) {
            numbered.emplace_back(word, static_cast<int>(meaning));
        }
        addChoice(
            name, static_cast<int>(value), numbered,
            [&value](int chosen) { value = static_cast<Value>(chosen); }, description);
    }

    /** One of several words, or none. */
    template <class Value>
    void choice(const std::string& name, std::optional<Value>& value, const Choice<Value>& choice,
                const std::string& description) {
        Choice<int> numbered;
        for (const auto& [word, meaning] : choice) {
            numbered.emplace_back(word, static_cast<int>(meaning));
        }
        addChoice(
            name, -1, numbered, [&value](int chosen) { value = static_cast<Value>(chosen); },
            description);
    }

    /** --direction. */
    void direction(Direction& direction);

    /** --ratio. */
    void ratio(int32_t& ratio);

    /** What the help says below the options, with an example. */
    void explain(const std::string& text);

  private:
    void addChoice(const std::string& name, int value, const Choice<int>& choice,
                   const std::function<void(int)>& store, const std::string& description);

    CLI::App* app_;
};

/** The program as its commands see it. */
class Program {
  public:
    explicit Program(CLI::App& app) : app_(&app) {}

    /**
     * Adds a command whose options start from their defaults. When it is chosen, `action` gets them
     * and returns an `ExitStatus`; it may throw, and then the status is `trouble`.
     */
    template <class Options>
    std::pair<Command, std::shared_ptr<Options>> add(const std::string& name,
                                                     int (*action)(const Options&),
                                                     const std::string& description,
                                                     int trouble = exitRefused) {
        const auto options = std::make_shared<Options>();
        return {addCommand(
                    name, description, [options, action] { return action(*options); }, trouble),
                options};
    }

    /** Runs the command that has been chosen, if one has. */
    [[nodiscard]] const std::function<int()>& chosen() const { return chosen_; }
    /** The exit status when it throws. */
    [[nodiscard]] int trouble() const { return trouble_; }

  private:
    Command addCommand(const std::string& name, const std::string& description,
                       const std::function<int()>& run, int trouble);

    CLI::App* app_;
    std::function<int()> chosen_;
    int trouble_ = exitRefused;
};

/** Reads the command line, runs the command and returns the exit status of the program. */
int runCommandLine(int argc, char** argv);
