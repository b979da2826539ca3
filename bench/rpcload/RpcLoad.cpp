// ps_rpc_load: drives one or more procedures of the port-security RPC program
// from several client threads and prints, per procedure, calls per second,
// median and 99th-percentile latency, and the ratio to the null procedure.
// On a machine that others share the rate moves over time, so each procedure
// runs in short slices taken in turn with slices of the null procedure. Its
// ratio is the median, over the pairs of slices, of its rate against the null
// rate of the slice just before: a burst from a neighbour spoils a pair or
// two, not the figure.
//
// Arguments are sent as XDR words (every argument type of the program is made
// of 4-byte units); each procedure has a default set that the built-in node
// accepts, and --args replaces it for a single procedure.
#include <rpc/rpc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <vector>

namespace {

const unsigned long kProgram = 0x2000000d;
const unsigned long kVersion = 1;

typedef std::vector<uint32_t> Words;

// 02:00:00:00:99:01 as an rpcPSMacEntry's six bytes, then its VLAN.
Words macEntry(uint32_t vlan) { return {0x02, 0, 0, 0, 0x99, 0x01, vlan}; }

Words defaultArgs(unsigned long proc) {
  const uint32_t port = 2, gpon = 10, vlan = 10, limitVlan = 100;
  auto join = [](Words a, const Words& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
  };
  switch (proc) {
    case 1:
      return {0};
    case 2:
      return {port, 0};
    case 3:
      return {port, 300};
    case 4:
      return {port};
    case 5:
      return {port, 20};
    case 6:
      return {port};
    case 7:
    case 8:
      return join({port}, macEntry(vlan));
    case 9:
    case 11:
    case 13:
    case 14:
    case 15:
      return {port};
    case 16:
      return {port, limitVlan, 5};
    case 17:
      return {port, limitVlan};
    case 18:
    case 819:
      return join(join({gpon}, macEntry(vlan)), {1});
    default:
      return {};
  }
}

bool_t encodeWords(XDR* xdrs, void* words) {
  for (uint32_t& word : *static_cast<Words*>(words))
    if (!xdr_u_int(xdrs, &word)) return FALSE;
  return TRUE;
}

// The reply's result is not looked at: the record stream skips what is left.
bool_t ignoreResult(XDR*, void*) { return TRUE; }

// xdrproc_t is variadic; going through a plain function pointer keeps the
// compiler's cast check quiet about the one-way conversion.
template <class F>
xdrproc_t asXdrProc(F* function) {
  return reinterpret_cast<xdrproc_t>(reinterpret_cast<void (*)()>(function));
}

struct Options {
  std::string host = "127.0.0.1";
  std::string transport = "udp";
  std::vector<unsigned long> procs = {0};
  Words args;
  bool hasArgs = false;
  unsigned int threads = 2;
  double seconds = 2.0;
};

struct Figures {
  double callsPerSecond = 0;
  double ratio = 0;         // to the null procedure
  double p50 = 0, p99 = 0;  // microseconds
  unsigned long failures = 0;
};

// One procedure's calls: latencies in microseconds and the wall time of the
// slices in which it ran.
struct Sample {
  std::vector<float> latencies;
  double seconds = 0;
  unsigned long failures = 0;

  Figures summarise() {
    Figures figures;
    figures.failures = failures;
    if (latencies.empty() || seconds <= 0) return figures;
    std::sort(latencies.begin(), latencies.end());
    figures.callsPerSecond = latencies.size() / seconds;
    figures.p50 = latencies[latencies.size() / 2];
    figures.p99 = latencies[std::min(latencies.size() - 1, latencies.size() * 99 / 100)];
    return figures;
  }
};

const double kSliceSeconds = 0.05;

// Calls started in each slice, and each slice's wall time.
struct SliceCounts {
  std::vector<unsigned long> calls;
  std::vector<double> seconds;

  double rate(size_t slice) const { return seconds[slice] > 0 ? calls[slice] / seconds[slice] : 0; }
  // Slices alternate null (even) and measured (odd).
  double medianPairRatio() const {
    std::vector<double> ratios;
    for (size_t slice = 0; slice + 1 < calls.size(); slice += 2)
      if (rate(slice) > 0) ratios.push_back(rate(slice + 1) / rate(slice));
    if (ratios.empty()) return 0;
    std::nth_element(ratios.begin(), ratios.begin() + ratios.size() / 2, ratios.end());
    return ratios[ratios.size() / 2];
  }
};

// The client threads keep their handles for the whole run and call back to
// back; the main thread switches them between the null procedure (phase 0)
// and the measured one (phase 1) every slice, so that neither handle set-up
// nor the drift of a shared machine's speed favours one of the two. A call
// counts for the phase it started in.
void measurePair(const Options& options, unsigned long proc, const Words& args, Figures& null,
                 Figures& figures) {
  const int slices = std::max(1, static_cast<int>(options.seconds / kSliceSeconds + 0.5));
  std::atomic<int> slice{0};
  std::atomic<bool> running{true};
  std::atomic<unsigned int> ready{0};
  struct PerThread {
    Sample samples[2];
    std::vector<unsigned long> callsPerSlice;
  };
  std::vector<PerThread> perThread(options.threads);
  std::vector<std::thread> threads;
  for (unsigned int t = 0; t < options.threads; ++t)
    threads.emplace_back([&, t] {
      CLIENT* client =
          clnt_create(options.host.c_str(), kProgram, kVersion, options.transport.c_str());
      ++ready;
      if (client == nullptr) {
        clnt_pcreateerror("ps_rpc_load");
        ++perThread[t].samples[0].failures;
        return;
      }
      timeval timeout = {5, 0};
      Words none, words = args;
      for (Sample& sample : perThread[t].samples) sample.latencies.reserve(1 << 17);
      perThread[t].callsPerSlice.assign(2 * slices, 0);
      while (running.load()) {
        const int started = slice.load();
        const int current = started % 2;
        const unsigned long called = current == 0 ? 0 : proc;
        Words* argument = current == 0 ? &none : &words;
        const auto before = std::chrono::steady_clock::now();
        const clnt_stat status = clnt_call(
            client, static_cast<rpcproc_t>(called), asXdrProc(encodeWords),
            reinterpret_cast<caddr_t>(argument), asXdrProc(ignoreResult), nullptr, timeout);
        const auto after = std::chrono::steady_clock::now();
        Sample& sample = perThread[t].samples[current];
        if (status != RPC_SUCCESS) ++sample.failures;
        ++perThread[t].callsPerSlice[started];
        sample.latencies.push_back(
            std::chrono::duration<float, std::micro>(after - before).count());
      }
      clnt_destroy(client);
    });
  while (ready.load() < options.threads) std::this_thread::yield();
  SliceCounts counts;
  counts.calls.assign(2 * slices, 0);
  counts.seconds.assign(2 * slices, 0);
  double phaseSeconds[2] = {0, 0};
  for (int i = 0; i < 2 * slices; ++i) {
    slice.store(i);
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(options.seconds / slices));
    counts.seconds[i] =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    phaseSeconds[i % 2] += counts.seconds[i];
  }
  running.store(false);
  for (std::thread& thread : threads) thread.join();
  for (const PerThread& part : perThread)
    for (size_t i = 0; i < part.callsPerSlice.size(); ++i) counts.calls[i] += part.callsPerSlice[i];
  Sample merged[2];
  for (int p = 0; p < 2; ++p) {
    merged[p].seconds = phaseSeconds[p];
    for (PerThread& part : perThread) {
      const Sample& sample = part.samples[p];
      merged[p].latencies.insert(merged[p].latencies.end(), sample.latencies.begin(),
                                 sample.latencies.end());
      merged[p].failures += sample.failures;
    }
  }
  null = merged[0].summarise();
  null.ratio = 1;
  figures = merged[1].summarise();
  figures.ratio = counts.medianPairRatio();
}

void usage() {
  std::fprintf(stderr,
               "usage: ps_rpc_load [--host H] [--udp|--tcp] [--threads N] [--seconds S]\n"
               "                   [--procs P,P,...] [--args W,W,...]\n"
               "Measures each listed procedure in slices taken in turn with the null procedure.\n"
               "--args gives one procedure's arguments as XDR words (needs one procedure).\n");
  std::exit(2);
}

std::vector<unsigned long> numberList(const std::string& text) {
  std::vector<unsigned long> numbers;
  size_t at = 0;
  while (at <= text.size()) {
    size_t comma = text.find(',', at);
    if (comma == std::string::npos) comma = text.size();
    const std::string item = text.substr(at, comma - at);
    char* rest = nullptr;
    const unsigned long value = std::strtoul(item.c_str(), &rest, 0);
    if (item.empty() || *rest != '\0') usage();
    numbers.push_back(value);
    at = comma + 1;
  }
  return numbers;
}

Options parse(int argc, char** argv) {
  Options options;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    auto value = [&]() -> std::string {
      if (i + 1 >= argc) usage();
      return argv[++i];
    };
    if (arg == "--host")
      options.host = value();
    else if (arg == "--udp")
      options.transport = "udp";
    else if (arg == "--tcp")
      options.transport = "tcp";
    else if (arg == "--threads")
      options.threads = static_cast<unsigned int>(std::atoi(value().c_str()));
    else if (arg == "--seconds")
      options.seconds = std::atof(value().c_str());
    else if (arg == "--procs")
      options.procs = numberList(value());
    else if (arg == "--args") {
      for (unsigned long word : numberList(value()))
        options.args.push_back(static_cast<uint32_t>(word));
      options.hasArgs = true;
    } else
      usage();
  }
  if (options.threads == 0 || options.seconds <= 0) usage();
  if (options.hasArgs && options.procs.size() != 1) usage();
  return options;
}

}  // namespace

int main(int argc, char** argv) {
  const Options options = parse(argc, argv);
  std::printf("%-4s %5s %12s %9s %9s %8s %s\n", "NET", "PROC", "CALLS/S", "P50_US", "P99_US",
              "RATIO", "FAILED");
  auto print = [&](unsigned long proc, const Figures& f) {
    std::printf("%-4s %5lu %12.0f %9.1f %9.1f %8.3f %lu\n", options.transport.c_str(), proc,
                f.callsPerSecond, f.p50, f.p99, f.ratio, f.failures);
  };
  int status = 0;
  for (unsigned long proc : options.procs) {
    Figures null, figures;
    measurePair(options, proc, options.hasArgs ? options.args : defaultArgs(proc), null, figures);
    // The null row carries the rate of every null slice of the first pair.
    if (proc == options.procs.front()) print(0, null);
    print(proc, figures);
    if (figures.failures != 0 || null.failures != 0) status = 1;
  }
  return status;
}
