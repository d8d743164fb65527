// fenxi serve under abuse: 10,000 malformed requests (a table of kinds sent
// in turn over fresh connections), then 50 concurrent clients while a bar
// file is rewritten again and again. Every answer to a malformed request is
// a 4xx with a JSON error, no answer is a 5xx, the clients get their data,
// and the server still answers and stops cleanly on SIGTERM.
// Usage: serve_stress FENXI_TOOL DATA_DIR
#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace {

int port = 0;

// Sends `request` on a new connection; the status of the answer (0 when
// there is none) and its body. `answer` false: closes without reading.
int Send(const std::string& request, std::string* body = nullptr, bool answer = true) {
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_port = htons(static_cast<std::uint16_t>(port));
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    timeval timeout{20, 0};
    setsockopt(s, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    if (connect(s, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
        close(s);
        return -1;
    }
    for (std::size_t sent = 0; sent < request.size();) {
        const ssize_t n = send(s, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
        if (n <= 0) break;
        sent += static_cast<std::size_t>(n);
    }
    // The answer: its head, then Content-Length bytes (the server may keep
    // the connection open for another request).
    std::string text;
    std::size_t need = std::string::npos;
    char buf[65536];
    while (answer && (need == std::string::npos || text.size() < need)) {
        const ssize_t n = recv(s, buf, sizeof buf, 0);
        if (n <= 0) break;
        text.append(buf, static_cast<std::size_t>(n));
        const std::size_t head = text.find("\r\n\r\n");
        if (need == std::string::npos && head != std::string::npos) {
            const std::size_t at = text.find("Content-Length: ");
            if (at != std::string::npos && at < head) need = head + 4 + std::stoul(text.substr(at + 16));
        }
    }
    close(s);
    int status = 0;
    std::sscanf(text.c_str(), "HTTP/1.1 %d", &status);
    if (body != nullptr) {
        const std::size_t end = text.find("\r\n\r\n");
        *body = end == std::string::npos ? "" : text.substr(end + 4);
    }
    return status;
}

std::string Get(const std::string& target, const std::string& host = "127.0.0.1") {
    return "GET " + target + " HTTP/1.1\r\nHost: " + host + "\r\nConnection: close\r\n\r\n";
}

std::string Post(const std::string& target, const std::string& body) {
    return "POST " + target + " HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: close\r\nContent-Type: text/plain\r\n"
           "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

struct Malformed {
    const char* what;
    std::string request;
    bool answer = true;  // false: sent incomplete, the connection closed at once
};

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: serve_stress FENXI_TOOL DATA_DIR\n");
        return 2;
    }
    const fs::path dir = fs::temp_directory_path() / ("fenxi-serve-stress-" + std::to_string(getpid()));
    fs::create_directories(dir / "dir.csv");
    for (const auto& e : fs::directory_iterator(argv[2]))
        if (e.path().extension() == ".csv") fs::copy_file(e.path(), dir / e.path().filename());
    std::ofstream(dir.parent_path() / ("outside-" + std::to_string(getpid()) + ".csv")) << "date,open,high,low,close,volume\n";
    fs::create_symlink(dir.parent_path() / ("outside-" + std::to_string(getpid()) + ".csv"), dir / "outside.csv");
    std::ofstream(dir / "bad.csv") << "date,open,high,low,close\n2024-01-02,1,2,x,1\n";
    const std::string sample = "daily_sz002032.csv";
    const std::string sampleText = [&] {
        std::ifstream in(dir / sample);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }();
    std::ofstream(dir / "flip.csv") << sampleText;

    // The server on a free port: its first stderr line says which.
    int pipeFds[2];
    if (pipe(pipeFds) != 0) return 2;
    const pid_t server = fork();
    if (server == 0) {
        dup2(pipeFds[1], 2);
        close(pipeFds[0]);
        execl(argv[1], argv[1], "serve", dir.c_str(), "--port", "0", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(pipeFds[1]);
    std::string line;
    for (char c; line.find('\n') == std::string::npos && read(pipeFds[0], &c, 1) == 1;) line += c;
    std::smatch m;
    if (!std::regex_search(line, m, std::regex(R"(127\.0\.0\.1:(\d+))"))) {
        std::fprintf(stderr, "no port from the server: %s\n", line.c_str());
        kill(server, SIGKILL);
        return 1;
    }
    port = std::stoi(m[1]);
    std::thread drain([fd = pipeFds[0]] {  // the server's later messages (a sanitizer's report) go on
        char buf[4096];
        for (ssize_t n; (n = read(fd, buf, sizeof buf)) > 0;)
            if (write(2, buf, static_cast<std::size_t>(n)) < 0) break;
    });

    int failures = 0;
    auto check = [&failures](bool ok, const std::string& what) {
        std::printf("%s: %s\n", ok ? "ok" : "FAILED", what.c_str());
        if (!ok) ++failures;
    };

    const std::string big(70000, 'A');
    const Malformed kinds[] = {
        {"not HTTP", "GARBAGE\r\n\r\n"},
        {"bytes 0", std::string("\0\0\0\0\r\n\r\n", 8)},
        {"no file", Get("/api/bars")},
        {"a path", Get("/api/bars?file=../../etc/passwd")},
        {"an escaped path", Get("/api/bars?file=%2e%2e%2fetc%2fpasswd")},
        {"a byte 0 in the name", Get("/api/bars?file=daily_sz002032.csv%00.csv")},
        {"a link out of the folder", Get("/api/bars?file=outside.csv")},
        {"a directory", Get("/api/forms?file=dir.csv")},
        {"no such file", Get("/api/marks?file=none.csv")},
        {"not UTF-8", Get("/api/bars?file=%ff%fe.csv")},
        {"a bad bar file", Get("/api/marks?file=bad.csv")},
        {"a range not a number", Get("/api/bars?file=" + sample + "&from=abc")},
        {"a range too large", Get("/api/bars?file=" + sample + "&from=99999999999999999999999")},
        {"an unknown line", Get("/api/lines?file=" + sample + "&item=NOPE")},
        {"an infinite parameter", Get("/api/lines?file=" + sample + "&item=MA:1e400")},
        {"parameters out of range", Get("/api/lines?file=" + sample + "&item=MACD:0:0:0")},
        {"a fractional window", Get("/api/lines?file=" + sample + "&item=MA1:2.5")},
        {"a long item", Get("/api/lines?file=" + sample + "&item=" + std::string(300, 'M'))},
        {"a formula that does not compile", Post("/api/formula?file=" + sample, "A:MA(C,)")},
        {"a formula text too long", Post("/api/formula?file=" + sample, big)},
        {"screen parameters", Post("/api/screen?params=N", "SCR_MA_GOLDEN")},
        {"an empty screen", Post("/api/screen", "")},
        {"no such screen", Get("/api/screen/999")},
        {"a screen id not a number", Get("/api/screen/abc")},
        {"no such live feed", Get("/api/live/12345")},
        {"a live feed of no file", Post("/api/live?file=none.csv", "")},
        {"too many live sets", Post("/api/live?file=" + sample + "&items=MA;MA;MA;MA;MA;MA;MA;MA;MA;MA;MA;MA;MA;MA;MA;MA;MA", "")},
        {"another site's name", Get("/api/list", "evil.example")},
        {"a URI too long", Get("/api/bars?file=" + std::string(9000, 'a'))},
        {"a header too long", "GET /api/list HTTP/1.1\r\nHost: 127.0.0.1\r\nX: " + std::string(10000, 'x') + "\r\n\r\n"},
        // The HTTP library reads (and drops) a body it will refuse until its
        // read timeout: these close at once.
        {"a negative length", "POST /api/formula HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: -5\r\n\r\n", false},
        {"a huge length", "POST /api/formula HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 99999999999\r\n\r\n", false},
        {"a bad chunk", "POST /api/formula HTTP/1.1\r\nHost: 127.0.0.1\r\nTransfer-Encoding: chunked\r\n\r\nZZ\r\n\r\n"},
        {"an unknown method", "BREW /api/list HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"},
        {"an unknown endpoint", Get("/api/nothing")},
        {"half a request", "GET /api/li", false},
        {"a body cut short", "POST /api/formula HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: 100\r\n\r\nA:", false},
    };
    constexpr int kMalformed = 10000;
    int answered = 0, refused = 0, jsonErrors = 0, serverErrors = 0;
    std::vector<std::string> wrong;
    for (int k = 0; k < kMalformed; ++k) {
        const Malformed& kind = kinds[k % std::size(kinds)];
        std::string body;
        const int status = Send(kind.request, &body, kind.answer);
        if (!kind.answer) continue;
        ++answered;
        if (status >= 400 && status < 500) ++refused;
        else if (wrong.size() < 10) wrong.push_back(std::string(kind.what) + " -> " + std::to_string(status));
        if (status >= 500 || status == 0) ++serverErrors;
        if (body.find("\"error\"") != std::string::npos) ++jsonErrors;
    }
    std::string wrongText;
    for (const std::string& w : wrong) wrongText += "; " + w;
    check(refused == answered, std::to_string(refused) + " of " + std::to_string(answered) +
                                   " answered malformed requests refused with a 4xx" + wrongText);
    check(jsonErrors == answered, std::to_string(jsonErrors) + " of them with a JSON error");
    check(serverErrors == 0, std::to_string(serverErrors) + " server errors or no answer");

    // 50 clients at once, each asking for a list, bars, lines and a formula,
    // while one file is rewritten over and over.
    std::atomic<bool> writing{true};
    std::thread writer([&] {
        for (int k = 0; writing; ++k) {
            std::ofstream out(dir / "flip.csv", std::ios::trunc);
            out << sampleText.substr(0, k % 2 ? sampleText.size() : sampleText.size() / 2 + 7);
        }
    });
    std::atomic<int> good{0}, bad{0}, flipErrors{0}, flipGood{0};
    std::vector<std::thread> clients;
    for (int c = 0; c < 50; ++c)
        clients.emplace_back([&, c] {
            const std::string asks[] = {
                Get("/api/list"), Get("/api/bars?file=" + sample + "&from=-500"),
                Get("/api/lines?file=" + sample + "&item=MACD:12:26:" + std::to_string(2 + c % 20) + "&from=-300"),
                Post("/api/formula?file=" + sample + "&from=-100", "X:MA(C," + std::to_string(3 + c) + ");"),
                Get("/api/marks?file=" + sample)};
            for (int round = 0; round < 4; ++round)
                for (const std::string& ask : asks) {
                    std::string body;
                    const int status = Send(ask, &body);
                    (status == 200 && body.size() > 2 && (body[0] == '{' || body[0] == '[') ? good : bad)++;
                }
            std::string body;
            const int status = Send(Get("/api/bars?file=flip.csv&from=-10"), &body);
            (status == 200 ? flipGood : status >= 400 && status < 500 && body.find("\"error\"") != std::string::npos
                                            ? flipErrors
                                            : bad)++;
        });
    for (std::thread& t : clients) t.join();
    writing = false;
    writer.join();
    check(bad == 0 && good == 50 * 4 * 5, std::to_string(good) + " answers to 50 concurrent clients, " +
                                              std::to_string(bad) + " wrong");
    check(flipGood + flipErrors == 50, "a file rewritten while read: " + std::to_string(flipGood) + " read, " +
                                           std::to_string(flipErrors) + " refused with an error");

    std::string body;
    check(Send(Get("/api/list"), &body) == 200 && body.find(sample) != std::string::npos, "the server still answers");
    kill(server, SIGTERM);
    int wstatus = 0;
    waitpid(server, &wstatus, 0);
    check(WIFEXITED(wstatus) && WEXITSTATUS(wstatus) == 0, "stops on SIGTERM with exit 0");
    drain.join();
    std::error_code ec;
    fs::remove_all(dir, ec);
    fs::remove(dir.parent_path() / ("outside-" + std::to_string(getpid()) + ".csv"), ec);
    std::printf("%d failed\n", failures);
    return failures ? 1 : 0;
}
