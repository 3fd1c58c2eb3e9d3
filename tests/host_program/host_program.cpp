// A host in a process of its own, for what a test program cannot do to itself.
//
//   host_program leave ROUNDS       returns from main while the engine thinks; each child must end well
//   host_program no-memory STRIDE BOOK
//                                   fails each STRIDEth allocation of a host's life, once and from
//                                   then on; a call that reports a lack of memory must work when
//                                   repeated. BOOK is an opening book, which is copied.
//
// It knows the public headers alone, and is linked with either library.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <string>

#include "torval/apartment.h"
#include "torval/engine.h"
#include "torval/library.h"
#include "torval/pages.h"

// Seen inlined, these operators look to the compiler like new matched with free.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"
#endif

namespace {

using namespace torval;

// ---- Memory that fails ---------------------------------------------------------------------------

constexpr long kNever = -1;
std::atomic<long> left_before_failure = kNever;
std::atomic<bool> fails_from_then_on = false;
std::atomic<bool> has_failed = false;

void* Allocate(std::size_t size) noexcept {
    if (left_before_failure.load() != kNever && left_before_failure.fetch_sub(1) <= 0) {
        has_failed = true;
        left_before_failure = fails_from_then_on ? 0 : kNever;
        return nullptr;
    }
    return std::malloc(size == 0 ? 1 : size);
}

void* AllocateOrThrow(std::size_t size) {
    void* const memory = Allocate(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}

}  // namespace

void* operator new(std::size_t size) { return AllocateOrThrow(size); }
void* operator new[](std::size_t size) { return AllocateOrThrow(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }

namespace {

// ---- The host ------------------------------------------------------------------------------------

class Site final : public IChessEngineSite {
public:
    HRESULT QueryInterface(const GUID& iid, void** object) override {
        const bool known = iid == IID_IUnknown || iid == IID_IChessEngineSite;
        *object = known ? this : nullptr;
        return known ? S_OK : E_NOINTERFACE;
    }
    std::uint32_t AddRef() override { return 2; }
    std::uint32_t Release() override { return 1; }
    HRESULT OutputMove(W_BOARD*) override { return S_OK; }
    HRESULT OutputNextMove(std::int32_t, std::int32_t, EVAR) override {
        ++root_moves;
        return S_OK;
    }
    HRESULT OutputClocks(CLOCKS*) override { return S_OK; }
    HRESULT OutputMainVar(MAINVAR* line) override {
        if (line->iCommand == 4) {
            ++results;
            result_length = line->vlen;
        }
        return S_OK;
    }
    HRESULT OutputProgress(B_STATS*, std::uint16_t) override { return S_OK; }
    HRESULT OutputMsgBook(const char*) override { return S_OK; }
    HRESULT OutputMsg(std::int32_t id, std::int32_t, std::int32_t, const char*) override {
        if (id == 50) ++threads;
        return S_OK;
    }

    int root_moves = 0;
    int results = 0;
    int result_length = 0;
    int threads = 0;
};

[[noreturn]] void GiveUp(const char* step, long result) {
    std::fprintf(stderr, "%s: %ld\n", step, result);
    _exit(2);
}

/// Takes a step until it works. It may once report a lack of memory, which is then available again.
template <typename Step>
void Do(const char* name, Step step, HRESULT wanted = S_OK) {
    HRESULT result = step();
    const bool without_memory =
        result == E_OUTOFMEMORY || result == STG_E_MEDIUMFULL || result == 3;  // a book's answer
    if (without_memory && has_failed) {
        left_before_failure = kNever;
        result = step();
    }
    if (result != wanted) GiveUp(name, result);
}

/// Dispatches messages until the condition holds.
template <typename Condition>
void PumpUntil(const char* name, Condition condition) {
    for (int i = 0; !condition(); ++i) {
        if (i == 30000) GiveUp(name, i);
        WaitForMessage(1);
        PumpMessages();
    }
}

void SetLevel(IChessEngine2* engine, std::uint16_t mode, std::int16_t depth) {
    LEVEL level;
    engine->get_LEVEL(&level);
    level.mode = mode;
    level.depth1 = depth;
    engine->put_LEVEL(&level);
}

// ---- Leaving while the engine thinks -------------------------------------------------------------

int LeaveWhileThinking() {
    static Site site;
    Ref<IChessEngine2> engine;
    EnterApartment();
    CreateInstance("TORVAL.Engine", IID_IChessEngine2, engine.ReceiveVoid());
    Ref<IPersistStreamInit> settings;
    engine->QueryInterface(IID_IPersistStreamInit, settings.ReceiveVoid());
    settings->InitNew();
    constexpr std::uint8_t kTableOf20Megabytes[] = {4, 10, 0x00, 0x50};
    engine->SetParameters(kTableOf20Megabytes, sizeof kTableOf20Megabytes);
    engine->put_EventMask(EventNextMove | EventPondering | EventMsg);
    Do("Start", [&] { return engine->Start(&site); });
    PumpUntil("thread", [] { return site.threads == 1; });
    engine->put_EventMask(0);
    Do("StartPondering", [&] { return engine->StartPondering(1); });
    B_STATS stats = {};
    PumpUntil("nodes", [&] {
        engine->GetProgress(&stats, nullptr);
        return stats.analize_cnt > 20000;
    });
    return 0;
}

// ---- A life without memory -----------------------------------------------------------------------

/// The settings stream of an engine that has `book` for its main book and a small table.
void SaveSettings(IChessEngine2* engine, const char* book, IStream* stream) {
    constexpr std::int64_t kTableSizeAt = 8 + 32;
    constexpr std::int64_t kMainBookAt = 8 + 98;
    constexpr std::uint32_t kKilobytes = 20;
    Ref<IPersistStreamInit> settings;
    engine->QueryInterface(IID_IPersistStreamInit, settings.ReceiveVoid());
    Do("Save", [&] {
        stream->Seek(0, SeekFrom::Start, nullptr);
        return settings->Save(stream, true);
    });
    stream->Seek(kTableSizeAt, SeekFrom::Start, nullptr);
    stream->Write(&kKilobytes, sizeof kKilobytes, nullptr);
    stream->Seek(kMainBookAt, SeekFrom::Start, nullptr);
    stream->Write(book, static_cast<std::uint32_t>(std::strlen(book) + 1), nullptr);
    stream->Seek(0, SeekFrom::Start, nullptr);
}

void Create(Ref<IChessEngine2>* engine, Ref<IPersistStreamInit>* settings) {
    Do("CreateInstance",
       [&] { return CreateInstance("TORVAL.Engine", IID_IChessEngine2, engine->ReceiveVoid()); });
    (*engine)->QueryInterface(IID_IPersistStreamInit, settings->ReceiveVoid());
}

void ChangeDatabases(const char* path) {
    constexpr std::uint32_t kNalimovPath = 214;
    Ref<IPropertyPage> page;
    Do("page",
       [&] { return CreateInstance(CLSID_EngineSettings, IID_IPropertyPage, page.ReceiveVoid()); });
    Do("Activate", [&] { return page->Activate(); });
    Do("SetText", [&] { return page->SetText(kNalimovPath, path); });
    Do("Apply", [&] { return page->Apply(); });
    Do("Deactivate", [&] { return page->Deactivate(); });
}

void Think(IChessEngine2* engine, Site* site) {
    site->results = 0;
    Do("StartComputerMove", [&] { return engine->StartComputerMove(0); });
    PumpUntil("result", [&] { return site->results == 1; });
    if (site->result_length < 1) GiveUp("result without a move", site->result_length);
}

bool StartsPondering(IChessEngine2* engine) {
    bool started = false;
    Do("StartPondering", [&] {
        const HRESULT result = engine->StartPondering(1);
        started = result == S_OK;
        return result == S_FALSE ? S_OK : result;
    });
    return started;
}

void Live(const std::string& main_book, const std::string& user_book, const std::string& folder) {
    static Site site;
    Do("EnterApartment", [] { return EnterApartment(); });
    Ref<IStream> stream;
    Do("CreateMemoryStream", [&] { return CreateMemoryStream(stream.Receive()); });
    Ref<IChessEngine2> engine;
    Ref<IPersistStreamInit> settings;
    Create(&engine, &settings);
    settings->InitNew();
    SaveSettings(engine.Get(), main_book.c_str(), stream.Get());
    Create(&engine, &settings);
    Do("Load", [&] { return settings->Load(stream.Get()); });
    engine->put_EventMask(31 | EventPondering);
    constexpr std::uint8_t kParameters[] = {2,   20,  21,  27,  '/', 'a', '/', 'l',
                                            'o', 'n', 'g', ' ', 'p', 'a', 't', 'h',
                                            '/', 'x', '/', 'y', '/', 'z', 0};
    Do("SetParameters", [&] { return engine->SetParameters(kParameters, sizeof kParameters); });
    Do("Start", [&] { return engine->Start(&site); });
    PumpUntil("thread", [] { return site.threads == 1; });
    Do("SelectBook", [&] { return engine->SelectBook(user_book.c_str()); });
    SetLevel(engine.Get(), 0, 2);
    MOVES moves;
    Do("DoMove", [&] { return engine->DoMove("e4", &moves); });
    Do("AddBookMoves", [&] { return engine->AddBookMoves(1, 1, 5, 0); });
    Do("DelBookMoves", [&] { return engine->DelBookMoves(1, 1); });
    Ref<IChessBook> book;
    engine->QueryInterface(IID_IChessBook, book.ReceiveVoid());
    W_BOOKMOVES2 book_moves;
    Do("GetBookMoves", [&] { return book->GetBookMoves(&book_moves); });
    Think(engine.Get(), &site);
    Do("DoMove", [&] { return engine->DoMove("a6", &moves); });
    // The engine's thread may not have come back from the final result.
    PumpUntil("StartPondering", [&] { return StartsPondering(engine.Get()); });
    ChangeDatabases(folder.c_str());
    Do("StopComputing", [&] { return engine->StopComputing(true); });
    Do("MoveBack", [&] { return engine->MoveBack(2); });
    MAINVAR line;
    Do("DoComputerMove", [&] { return engine->DoComputerMove(0, &line); });
    Do("PostThreadMessage",
       [] { return PostThreadMessage(CurrentThread(), 3000, 0, 0) ? S_OK : E_OUTOFMEMORY; });
    PumpMessages();
    Do("Stop", [&] { return engine->Stop(); });
    // A small ending: the databases are asked at the root.
    CHSBRD ending = {};
    ending.board[0] = 22;
    ending.board[9] = 20;
    ending.board[63] = 14;
    ending.castle = 0xFF & ~(8 | 128);
    Do("put_Position", [&] { return engine->put_Position(&ending); });
    Do("Start", [&] { return engine->Start(&site); });
    PumpUntil("thread", [] { return site.threads == 2; });
    Think(engine.Get(), &site);
    Do("Stop", [&] { return engine->Stop(); });
    engine.Reset();
    LeaveApartment();
}

// ---- Children ------------------------------------------------------------------------------------

constexpr unsigned kPatienceSeconds = 60;

/// The exit status of a child that does this, 128 and the signal's number when one ends it.
template <typename Work>
int InChild(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(kPatienceSeconds);  // a child that hangs is a fault as well
        std::exit(work());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

constexpr int kNothingFailed = 77;

int FailEach(long stride, const std::filesystem::path& book) {
    namespace fs = std::filesystem;
    const fs::path folder = fs::temp_directory_path() / ("torval_host_" + std::to_string(getpid()));
    fs::create_directories(folder);
    int faults = 0;
    long points = 0;
    for (const bool from_then_on : {false, true}) {
        for (long n = 0;; n += stride) {
            const fs::path main_book = folder / "main.bk";
            const fs::path user_book = folder / "user.bk";
            fs::copy_file(book, main_book, fs::copy_options::overwrite_existing);
            fs::copy_file(book, user_book, fs::copy_options::overwrite_existing);
            const std::string names[] = {main_book.string(), user_book.string(), folder.string()};
            const int status = InChild([&] {
                fails_from_then_on = from_then_on;
                left_before_failure = n;
                Live(names[0], names[1], names[2]);
                return has_failed ? 0 : kNothingFailed;
            });
            if (status == kNothingFailed) break;
            ++points;
            if (status == 0) continue;
            std::fprintf(stderr,
                         "allocation %ld failing %s: exit status %d\n",
                         n,
                         from_then_on ? "from then on" : "once",
                         status);
            ++faults;
        }
    }
    fs::remove_all(folder);
    std::printf("%ld points, %d faults\n", points, faults);
    return faults == 0 && points > 0 ? 0 : 1;
}

}  // namespace

int main(int count, char** words) {
    const std::string command = count > 1 ? words[1] : "";
    if (command == "leave" && count == 3) {
        for (int round = 0; round < std::atoi(words[2]); ++round) {
            if (const int status = InChild(LeaveWhileThinking); status != 0) {
                std::fprintf(stderr, "round %d: exit status %d\n", round, status);
                return 1;
            }
        }
        return 0;
    }
    if (command == "no-memory" && count == 4) return FailEach(std::atol(words[2]), words[3]);
    std::fprintf(stderr, "usage: host_program leave ROUNDS | no-memory STRIDE BOOK\n");
    return 2;
}
