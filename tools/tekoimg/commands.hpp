// SPDX-License-Identifier: Apache-2.0
// The subcommands. Each returns the exit status, and throws Failure for what stops all of it.
#pragma once

#include "plan.hpp"
#include "settings.hpp"

#include <functional>
#include <string>
#include <vector>

namespace tekoimg {

// 0 when all is well, 1 when an image could not be dealt with.
int encode(const Settings& settings);
int decode(const Settings& settings);
int cut(const Settings& settings);
int thumbnail(const Settings& settings);
int info(const Settings& settings);
// 0 when the images are equal, 1 when they differ; what is thrown is trouble, 2.
int compare(const Settings& settings);

// What an image has to say besides its failure.
using Remarks = std::vector<std::string>;
using Work = std::function<void(const Job&, Remarks&)>;

/**
 * Does the work for each job, on as many threads as the settings say. A job that throws has failed, says so on standard
 * error and stops no other one. With more than one job or with failures, the last line counts them.
 *
 * @param done the word for jobs that went well: "encoded"
 * @return the exit status
 */
int runJobs(const Plan& plan, const Settings& settings, const std::string& done, const Work& work);

// Words that were left out: a remark, or with --strict a failure.
void heedLosses(const std::vector<std::string>& losses, const std::string& holder, const Settings& settings,
                Remarks& remarks);

} // namespace tekoimg
