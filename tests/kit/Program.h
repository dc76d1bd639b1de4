#pragma once

#include <string>
#include <vector>

namespace kit {

/// How a program ended: what it wrote and its exit status (128 + signal when one killed it).
struct Outcome {
    std::string out;
    std::string err;
    int status = -1;
};

/// Runs `words[0]`, looked up in PATH, with the given standard input.
Outcome run(const std::vector<std::string>& words, const std::string& input = {});

/// The path of the probe of this build.
std::string sondexProgram();
/// Runs it; `words` are its arguments alone.
Outcome runSondex(std::vector<std::string> words, const std::string& input = {});

/// The line of the output that begins "result: ", without its line feed; empty when there is not
/// exactly one.
std::string resultLine(const std::string& out);

/// The value of a number or truth value of a result line as it is printed; empty when absent.
std::string member(const std::string& result, const std::string& key);

/// Whether the ffmpeg program is there to make clips with.
bool haveFfmpeg();

/// Makes a clip of a test picture at `path` with these arguments of ffmpeg behind the input (two
/// seconds of 2:1 pictures, 320x160, and a tone); made once a name and kept for the test program's
/// life. Returns its bytes.
const std::string& clip(const std::string& name, const std::vector<std::string>& arguments);

/// The hashes of the decoded frames of all tracks; an error of the decoder is a part of it.
std::string frames(const std::wstring& path);

/// The clip that most tests start from, as it is and with the camera's boxes.
const std::string& plainClip();
const std::string& cameraMovie();

}  // namespace kit
