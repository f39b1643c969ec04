// Gaussian mixture servers. The two element types are one design; what they report differs in the name and in
// the lines.
#include "common/elementary.hpp"
#include "common/memory.hpp"
#include "common/mixture.hpp"
#include "common/report.hpp"
#include "simd/kernels.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace qzk {

float *integralExpTable;
float *fractionalExpTable;
std::int32_t expTablesBuilt;

namespace {

constexpr Reporter report("..\\LIBSRC\\QZ_GAUSS");

constexpr std::int32_t integralEntries = 100;
constexpr std::int32_t fractionalEntries = 1000;

struct Sites {
    const char *init;
    std::int32_t argumentLine, memoryLine;
    const char *evaluate;
    std::int32_t traceLine, lookupLine;
};

constexpr Sites sitesOf(const QZsGaussMixServer &) {
    return {"QZsInitGaussMixServer", 214, 220, "QZsEvalGaussMix", 442, 471};
}
constexpr Sites sitesOf(const QZwGaussMixServer &) {
    return {"QZwInitGaussMixServer", 155, 161, "QZwEvalGaussMix", 340, 385};
}

void reportNoTable(const char *message, std::int32_t line) {
    report(QZ_StsNoMem, "BuildExpTables", message, line);
}

/// e^(-i step), of which the double decides the float.
void fill(float *table, std::int32_t entries, double step) {
    for (std::int32_t i = 0; i < entries; ++i)
        table[i] = static_cast<float>(exponential(-i * step));
}

/// kept: the first table stays when the second one cannot be had; the next attempt drops it.
void BuildExpTables() {
    release(integralExpTable);
    integralExpTable = allocateArray<float>(integralEntries);
    if (integralExpTable == nullptr)
        return reportNoTable("insufficiency of memory for pointer  integralExpTable", 64);
    fractionalExpTable = allocateArray<float>(fractionalEntries);
    if (fractionalExpTable == nullptr)
        return reportNoTable("insufficiency of memory for pointer  fractionalExpTable", 66);
    fill(integralExpTable, integralEntries, 1.0);
    fill(fractionalExpTable, fractionalEntries, 0.001);
    expTablesBuilt = 1;
}

void dropExpTables() {
    release(integralExpTable);
    release(fractionalExpTable);
    integralExpTable = fractionalExpTable = nullptr;
    expTablesBuilt = 0;
}

template <class Server>
bool needsTables(const Server &server) {
    return server.useExpTables != 0 && expTablesBuilt == 0;
}

/// Whether the exponentials of this server can be had. kept: the tables are built under any status, and then
/// a negative one left by whatever call ends the evaluation.
template <class Server>
bool tablesAreReady(const Server &server) {
    if (!needsTables(server)) return true;
    BuildExpTables();
    if (QZGetStatus() >= 0 && expTablesBuilt != 0) return true;
    const Sites sites = sitesOf(server);
    report.backTrace(sites.evaluate, sites.traceLine);
    return false;
}

template <class Server>
Server *initialize(const Server &fields) {
    const Sites sites = sitesOf(fields);
    if ((fields.InverseCov == nullptr) == (fields.InverseCovD == nullptr)) {
        report(QZ_StsBadArg, sites.init,
               "One of InverseCov or InverseCovD must be NULL and the other non NULL", sites.argumentLine);
        return nullptr;
    }
    auto *const server = allocateArray<Server>(1);
    if (server == nullptr) {
        report(QZ_StsNoMem, sites.init, "insufficiency of memory for pointer  server", sites.memoryLine);
        return nullptr;
    }
    *server = fields;
    return server;
}

template <class Server>
void freeServer(Server *server) {
    if (server == nullptr) return;
    if (server->useExpTables != 0 && expTablesBuilt != 0) dropExpTables();
    release(server);
}

constexpr std::size_t atLeastZero(std::int32_t count) {
    return count > 0 ? static_cast<std::size_t>(count) : 0;
}

double scaleOf(const QZsGaussMixServer &) { return 1.0; }
double scaleOf(const QZwGaussMixServer &server) { return QZPower2(server.scale); }

template <class T, class Server>
simd::Mixture<T> mixtureOf(const Server &server, const simd::ExponentialTables &tables) {
    return {server.weights,
            server.means,
            server.InverseCov,
            server.InverseCovD,
            atLeastZero(server.nMix),
            scaleOf(server),
            server.useExpTables != 0 ? &tables : nullptr};
}

/// As many servers at once as need no tables that are still to be built. False if one had no value.
template <class T, class Server>
bool evaluateServers(const Server *const *servers, std::int32_t count, const T *x, std::int32_t dim,
                     double *values) {
    constexpr std::int32_t atOnce = 32;
    const simd::MixtureKernelsOf<T> &kernels = simd::kernels().mixture;
    bool complete = true;
    for (std::int32_t first = 0; first < count;) {
        if (!tablesAreReady(*servers[first])) {
            values[first++] = 0.0;
            complete = false;
            continue;
        }
        const simd::ExponentialTables tables = {integralExpTable, fractionalExpTable};
        simd::Mixture<T> mixtures[atOnce];
        std::int32_t n = 0;
        do {
            mixtures[n] = mixtureOf<T>(*servers[first + n], tables);
            ++n;
        } while (n < atOnce && n < count - first && !needsTables(*servers[first + n]));
        const auto done = static_cast<std::int32_t>(
            kernels.evaluate(mixtures, atLeastZero(n), x, atLeastZero(dim), values + first));
        first += done;
        if (done < n) {
            report(QZ_StsInternal, "LookupExponential (Macro)", "Cannot lookup exponential of positive value",
                   sitesOf(*servers[first]).lookupLine);
            values[first++] = 0.0;
            complete = false;
        }
    }
    return complete;
}

template <class T, class Server>
void boundServer(const Server &server, const double *columns, std::int32_t count, std::int32_t dim,
                 double *lower, double *upper) {
    const simd::MixtureKernelsOf<T> &kernels = simd::kernels().mixture;
    const simd::ExponentialTables unused{};
    kernels.bound(mixtureOf<T>(server, unused), columns, atLeastZero(count), atLeastZero(dim), lower, upper);
}

} // namespace

bool evaluateMixtures(const QZsGaussMixServer *const *servers, std::int32_t count, const float *x,
                      std::int32_t dim, double *values) {
    return evaluateServers(servers, count, x, dim, values);
}

bool evaluateMixtures(const QZwGaussMixServer *const *servers, std::int32_t count, const std::int16_t *x,
                      std::int32_t dim, double *values) {
    return evaluateServers(servers, count, x, dim, values);
}

void boundMixture(const QZsGaussMixServer &server, const double *columns, std::int32_t count,
                  std::int32_t dim, double *lower, double *upper) {
    boundServer<float>(server, columns, count, dim, lower, upper);
}

void boundMixture(const QZwGaussMixServer &server, const double *columns, std::int32_t count,
                  std::int32_t dim, double *lower, double *upper) {
    boundServer<std::int16_t>(server, columns, count, dim, lower, upper);
}

} // namespace qzk

using namespace qzk;

extern "C" {

QZsGaussMixServer *QZsInitGaussMixServer(const float *weights, const float *const *means,
                                         const float *const *const *inverseCov,
                                         const float *const *inverseCovD, void *reserved, int32_t nMix,
                                         int32_t useExpTables) {
    return initialize(
        QZsGaussMixServer{weights, means, inverseCov, inverseCovD, reserved, nMix, useExpTables});
}

QZwGaussMixServer *QZwInitGaussMixServer(const int16_t *weights, const int16_t *const *means,
                                         const int16_t *const *const *inverseCov,
                                         const int16_t *const *inverseCovD, void *reserved, int32_t nMix,
                                         int32_t useExpTables, int32_t scale) {
    return initialize(
        QZwGaussMixServer{weights, means, inverseCov, inverseCovD, reserved, nMix, useExpTables, scale});
}

double QZsEvalGaussMix(const QZsGaussMixServer *server, const float *x, int32_t dim) {
    double value;
    evaluateMixtures(&server, 1, x, dim, &value);
    return value;
}

int32_t QZwEvalGaussMix(const QZwGaussMixServer *server, const int16_t *x, int32_t dim, int32_t resultMode,
                        int32_t *resultScale) {
    double value;
    if (!evaluateMixtures(&server, 1, x, dim, &value)) return 0;
    return QZdiConvertDown(value, resultMode, resultScale);
}

void QZsFreeGaussMixServer(QZsGaussMixServer *server) { freeServer(server); }
void QZwFreeGaussMixServer(QZwGaussMixServer *server) { freeServer(server); }

} // extern "C"
