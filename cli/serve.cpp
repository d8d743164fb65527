#include "serve.h"

#include <httplib.h>
#include <pthread.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

#include "bars_csv.h"
#include "catalog.h"
#include "chart_data.h"
#include "serve_api.h"
#include "serve_error.h"
#include "serve_folder.h"
#include "serve_lines.h"
#include "serve_live.h"
#include "serve_screen.h"

namespace fenxi_cli {
namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

// Bounds (docs/serve.md): connections served at once, the body of a request,
// live feeds open at once and registered.
constexpr int kThreads = 64;
constexpr std::size_t kMaxBody = kMaxFormulaBytes + 1024;
constexpr int kMaxLiveOpen = 32;
constexpr std::size_t kMaxLiveKept = 64;
constexpr auto kPoll = std::chrono::milliseconds(250);
constexpr int kQuietPolls = 40;  // a keep-alive comment after 10 s without events

void Reply(httplib::Response& res, const std::string& text, int status = 200) {
    res.status = status;
    res.set_content(text, "application/json");
}

void Refuse(httplib::Response& res, int status, const std::string& message, int line = 0, int column = 0) {
    json e = {{"error", message}};
    if (line > 0) {
        e["line"] = line;
        e["column"] = column;
    }
    Reply(res, Dump(e), status);
}

// A handler whose exceptions become JSON errors: refused requests 4xx, a
// request that ran out of memory 503.
using Handler = std::function<void(const httplib::Request&, httplib::Response&)>;
Handler Api(Handler fn) {
    return [fn](const httplib::Request& req, httplib::Response& res) {
        try {
            fn(req, res);
        } catch (const HttpError& e) {
            Refuse(res, e.status, e.what(), e.line, e.column);
        } catch (const InputError& e) {
            Refuse(res, 422, e.what());
        } catch (const FormulaRefused& e) {
            Refuse(res, 400, e.what());
        } catch (const CLI::Error& e) {
            Refuse(res, 400, e.what());
        } catch (const std::bad_alloc&) {
            Refuse(res, 503, "not enough memory for this request");
        } catch (const std::exception& e) {
            Refuse(res, 500, e.what());
        }
    };
}

std::string Param(const httplib::Request& req, const char* name, bool required = false) {
    if (req.has_param(name)) return req.get_param_value(name);
    if (required) throw HttpError(400, std::string(name) + ": required");
    return "";
}

// What a live feed shows, registered by POST and opened (again, after a
// reconnection) by the page's event source.
struct LiveRequest {
    std::string file, text;
    std::vector<std::string> items;
    Clock::time_point used;
};

struct App {
    Folder folder;
    const fenxi::FormulaLibrary& library;
    Screens screens;
    std::string page, script, style, chartLibrary;
    std::atomic<bool> stopping{false};
    std::atomic<int> liveOpen{0};
    std::mutex liveMutex;
    std::map<std::string, LiveRequest> live;
    std::uint64_t liveNext = 0;

    App(const std::string& dir, const fenxi::FormulaLibrary& lib) : folder(dir), library(lib), screens(folder, lib) {}

    std::shared_ptr<const Loaded> Load(const httplib::Request& req) { return folder.Load(Param(req, "file", true)); }

    std::string Register(LiveRequest asked) {
        std::lock_guard<std::mutex> lock(liveMutex);
        if (live.size() >= kMaxLiveKept) {  // the least recently used goes
            auto oldest = live.begin();
            for (auto it = live.begin(); it != live.end(); ++it)
                if (it->second.used < oldest->second.used) oldest = it;
            live.erase(oldest);
        }
        asked.used = Clock::now();
        const std::string id = std::to_string(++liveNext);
        live[id] = std::move(asked);
        return id;
    }

    LiveRequest Asked(const std::string& id) {
        std::lock_guard<std::mutex> lock(liveMutex);
        const auto it = live.find(id);
        if (it == live.end()) throw HttpError(404, "no live feed " + id.substr(0, 32) + ": register it again");
        it->second.used = Clock::now();
        return it->second;
    }
};

void Routes(httplib::Server& svr, App& app) {
    auto text = [](const std::string& body, const char* type) {
        return [&body, type](const httplib::Request&, httplib::Response& res) { res.set_content(body, type); };
    };
    svr.Get("/", text(app.page, "text/html; charset=utf-8"));
    svr.Get("/app.js", text(app.script, "text/javascript; charset=utf-8"));
    svr.Get("/app.css", text(app.style, "text/css; charset=utf-8"));
    svr.Get("/lightweight-charts.js", text(app.chartLibrary, "text/javascript; charset=utf-8"));
    svr.Get("/favicon.ico", [](const httplib::Request&, httplib::Response& res) { res.status = 204; });

    svr.Get("/api/list", Api([&app](const auto&, auto& res) { Reply(res, ListText(app.folder)); }));
    svr.Get("/api/names", Api([&app](const auto&, auto& res) { Reply(res, NamesText(app.library)); }));
    svr.Get("/api/bars", Api([&app](const auto& req, auto& res) {
        const auto loaded = app.Load(req);
        Reply(res, BarsText(*loaded, ParseRange(Param(req, "from"), Param(req, "to"), loaded->file.bars.size())));
    }));
    svr.Get("/api/lines", Api([&app](const auto& req, auto& res) {
        const LineSet set = ResolveItem(Param(req, "item", true), app.library);
        const auto loaded = app.Load(req);
        Reply(res, LinesText(*loaded, set, ParseRange(Param(req, "from"), Param(req, "to"), loaded->file.bars.size())));
    }));
    svr.Post("/api/formula", Api([&app](const auto& req, auto& res) {
        const LineSet set = CompileText(req.body, app.library);
        if (!req.has_param("file")) {  // a check only: the text compiles
            Reply(res, Dump({{"lines", set.names}}));
            return;
        }
        const auto loaded = app.Load(req);
        Reply(res, LinesText(*loaded, set, ParseRange(Param(req, "from"), Param(req, "to"), loaded->file.bars.size())));
    }));
    svr.Get("/api/marks", Api([&app](const auto& req, auto& res) { Reply(res, MarksText(*app.Load(req))); }));
    svr.Get("/api/forms", Api([&app](const auto& req, auto& res) { Reply(res, FormsText(*app.Load(req))); }));
    svr.Post("/api/screen", Api([&app](const auto& req, auto& res) {
        if (req.body.empty()) throw HttpError(400, "the body: a formula text or a library screen's name");
        const std::string id = app.screens.Start(req.body, ParseNamedParams(Param(req, "params")));
        Reply(res, Dump({{"id", id}}), 202);
    }));
    svr.Get(R"(/api/screen/(\d{1,18}))", Api([&app](const auto& req, auto& res) {
        Reply(res, Dump(app.screens.Status(req.matches[1])));
    }));
    svr.Delete(R"(/api/screen/(\d{1,18}))", Api([&app](const auto& req, auto& res) {
        app.screens.Cancel(req.matches[1]);
        Reply(res, Dump({{"cancelled", true}}));
    }));
    svr.Post("/api/live", Api([&app](const auto& req, auto& res) {
        LiveRequest asked;
        asked.file = Param(req, "file", true);
        app.folder.Resolve(asked.file);
        const std::string items = Param(req, "items");
        for (std::size_t start = 0; start < items.size();) {
            std::size_t end = items.find(';', start);
            if (end == std::string::npos) end = items.size();
            if (end > start) asked.items.push_back(items.substr(start, end - start));
            start = end + 1;
        }
        if (asked.items.size() + !req.body.empty() > kMaxLiveSets)
            throw HttpError(400, "items: at most " + std::to_string(kMaxLiveSets) + " line sets");
        for (const std::string& item : asked.items) ResolveItem(item, app.library);  // refused now, not when opened
        if (!req.body.empty()) CompileText(req.body, app.library);
        asked.text = req.body;
        Reply(res, Dump({{"id", app.Register(std::move(asked))}}), 201);
    }));
    svr.Get(R"(/api/live/(\d{1,18}))", Api([&app](const auto& req, auto& res) {
        const LiveRequest asked = app.Asked(req.matches[1]);
        if (++app.liveOpen > kMaxLiveOpen) {
            --app.liveOpen;
            throw HttpError(429, std::to_string(kMaxLiveOpen) + " live feeds are open: close a chart");
        }
        std::shared_ptr<LiveFeed> feed;
        try {
            std::vector<LineSet> sets;
            for (const std::string& item : asked.items) sets.push_back(ResolveItem(item, app.library));
            if (!asked.text.empty()) sets.push_back(CompileText(asked.text, app.library));
            feed = std::make_shared<LiveFeed>(app.folder, asked.file, std::move(sets));
        } catch (...) {
            --app.liveOpen;
            throw;
        }
        res.set_header("Cache-Control", "no-cache");
        auto polls = std::make_shared<int>(-1);
        res.set_chunked_content_provider(
            "text/event-stream",
            [&app, feed, polls](std::size_t, httplib::DataSink& sink) {
                std::string out;
                if (*polls < 0) {
                    out = "retry: 1000\nevent: hello\ndata: {}\n\n";
                    *polls = 0;
                } else {
                    std::this_thread::sleep_for(kPoll);
                    if (app.stopping) return false;
                    out = feed->Poll();
                    if (!out.empty()) *polls = 0;
                    else if (++*polls >= kQuietPolls) {
                        out = ": still here\n\n";
                        *polls = 0;
                    }
                }
                return out.empty() || sink.write(out.data(), out.size());
            },
            [&app](bool) { --app.liveOpen; });
    }));
}

// Only this machine's names reach a server bound to a loopback address: a
// page of another site renamed to 127.0.0.1 (DNS rebinding) is refused.
bool LocalHost(const std::string& host) {
    const std::string name = host.substr(0, host.rfind(':') == std::string::npos || host.back() == ']' ? host.size()
                                                                                                       : host.rfind(':'));
    return name == "127.0.0.1" || name == "localhost" || name == "[::1]";
}

}  // namespace

int Serve(const ServeOptions& options) {
    const fenxi::FormulaLibrary& library = options.library ? *options.library : fenxi::FormulaLibrary::Shipped();
    App app(options.dir, library);
    const auto assets = FindAssets(options.assets, "app.js");
    app.script = Slurp(assets / "app.js");
    app.style = Slurp(assets / "app.css");
    app.chartLibrary = ChartLibrary(assets);
    app.page = "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>fenxi</title>\n"
               "<link rel=\"stylesheet\" href=\"/app.css\">\n</head>\n<body>\n<div id=\"app\"></div>\n"
               "<script src=\"/lightweight-charts.js\"></script>\n<script src=\"/app.js\"></script>\n</body>\n</html>\n";

    // A client gone mid-answer is an error of that write, not a signal; the
    // stop signals go to one thread that stops the server.
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t stops;
    sigemptyset(&stops);
    sigaddset(&stops, SIGINT);
    sigaddset(&stops, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stops, nullptr);

    httplib::Server svr;
    svr.new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
    svr.set_payload_max_length(kMaxBody);
    svr.set_read_timeout(5, 0);
    svr.set_write_timeout(5, 0);
    svr.set_keep_alive_timeout(2);
    const bool loopback = options.host == "127.0.0.1" || options.host == "localhost" || options.host == "::1";
    svr.set_pre_routing_handler([loopback](const httplib::Request& req, httplib::Response& res) {
        // Answers go uncompressed: the HTTP library's brotli, at its highest
        // quality, takes longer than the bytes it saves on a local link (a
        // 180 KB script: 200 ms). The request object is the library's own,
        // not a constant.
        const_cast<httplib::Request&>(req).headers.erase("Accept-Encoding");
        if (!loopback || LocalHost(req.get_header_value("Host"))) return httplib::Server::HandlerResponse::Unhandled;
        Refuse(res, 403, "this server answers requests to 127.0.0.1 or localhost only");
        return httplib::Server::HandlerResponse::Handled;
    });
    svr.set_error_handler([](const httplib::Request&, httplib::Response& res) {
        if (res.body.empty())
            Refuse(res, res.status, res.status == 404 ? "no such page or endpoint (docs/serve.md lists them)"
                                                      : "the request is refused (" + std::to_string(res.status) + ")");
    });
    svr.set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
        Refuse(res, 500, "internal error");
    });
    Routes(svr, app);

    int port = options.port;
    if (port == 0) {
        port = svr.bind_to_any_port(options.host);
        if (port <= 0) throw std::runtime_error("cannot listen on " + options.host);
    } else if (!svr.bind_to_port(options.host, port)) {
        throw std::runtime_error("cannot listen on " + options.host + ":" + std::to_string(port));
    }
    const std::string shown = options.host.find(':') != std::string::npos ? "[" + options.host + "]" : options.host;
    std::fprintf(stderr, "fenxi serve: http://%s:%d/ over %s (%zu bar files)%s\n", shown.c_str(), port,
                 app.folder.root().string().c_str(), app.folder.Names().size(),
                 loopback ? "; this machine only (--host ADDR for others)" : "");
    std::fflush(stderr);

    // The folder is read while the first page loads, as far as the cache
    // holds: the list and the first chart then find their bars in memory.
    std::thread preload([&app] {
        std::size_t kept = 0;
        for (const std::string& name : app.folder.Names()) {
            if (app.stopping || kept >= kMaxCachedBars) break;
            try {
                kept += app.folder.Load(name)->file.bars.size();
            } catch (const std::exception&) {
                // the list reports it
            }
        }
    });
    std::atomic<bool> signalled{false};
    std::thread waiter([&] {
        int signal = 0;
        sigwait(&stops, &signal);
        signalled = true;
        app.stopping = true;
        svr.stop();
    });
    svr.listen_after_bind();
    app.stopping = true;
    if (!signalled) pthread_kill(waiter.native_handle(), SIGTERM);  // the server stopped by itself: end the waiter
    waiter.join();
    preload.join();
    return 0;
}

}  // namespace fenxi_cli
