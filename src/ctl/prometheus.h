// SPDX-License-Identifier: Apache-2.0
// prometheus.h -- servers' readings in the text format that Prometheus reads.
//
// Names are near those of the exporter for IPMI that people have: smclp_temperature_celsius and
// smclp_temperature_state (0 ok, 1 warning, 2 critical), labels "name" and "target", with -w
// "server". A reading or state that is not there has no line: a silent source's series end instead
// of growing old. smclp_up says whether a server's service and source answer.
#ifndef CTL_PROMETHEUS_H
#define CTL_PROMETHEUS_H

#include "ctl/value.h"
#include "ctl/view.h"

#include <span>
#include <string>
#include <vector>

class PrometheusText
{
public:
    PrometheusText();
    // server: what -w called it; null without -w. view: null when there is no service.
    void Add(const Value &server, const ServerView *view);
    // Everything, each metric's lines together under its HELP and TYPE.
    std::string Text() const;

private:
    struct Label {
        const char *name;
        std::string_view text;  // empty: left out
    };
    void AddLine(const char *metric, std::span<const Label> labels, const std::string &number);

    std::vector<std::string> lines_;  // of each metric
};

#endif
