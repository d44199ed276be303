#include <librdkafka/rdkafka.h>
#include <librdkafka/rdkafka_mock.h>
#include <pthread.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string_view>
#include <thread>

#include "Files.h"
#include "Fleet.h"

namespace {

constexpr int kBrokers = 3;
constexpr int kFailing = 1;               // of these, from 1
constexpr unsigned kElectionSeconds = 2;  // from a broker's end to its partitions' new leaders
constexpr char kTopic[] = "tavok";

void Check(rd_kafka_resp_err_t error) {
  if (error != RD_KAFKA_RESP_ERR_NO_ERROR) throw std::runtime_error(rd_kafka_err2str(error));
}

using Client = std::unique_ptr<rd_kafka_t, decltype(&rd_kafka_destroy)>;

// A reader with brokers of its own.
Client MakeClient() {
  // Such a broker does not answer a waiting reader when a line arrives, only when its time is over.
  const std::map<const char*, std::string> settings = {
      {"test.mock.num.brokers", std::to_string(kBrokers)},
      {"group.id", "fleet"},
      {"enable.auto.commit", "false"},
      {"auto.offset.reset", "error"},
      {"fetch.wait.max.ms", "10"}};
  char fault[256];
  rd_kafka_conf_t* const conf = rd_kafka_conf_new();
  for (const auto& [name, value] : settings) {
    if (rd_kafka_conf_set(conf, name, value.c_str(), fault, sizeof fault) != RD_KAFKA_CONF_OK) {
      throw std::runtime_error(fault);
    }
  }
  Client client(rd_kafka_new(RD_KAFKA_CONSUMER, conf, fault, sizeof fault), rd_kafka_destroy);
  if (client == nullptr) throw std::runtime_error(fault);
  return client;
}

class Cluster {
 public:
  Cluster(rd_kafka_t* client, int partitions)
      : m_mock(rd_kafka_handle_mock_cluster(client)),
        m_leaders(static_cast<std::size_t>(partitions)) {
    Check(rd_kafka_mock_topic_create(m_mock, kTopic, partitions, kBrokers));
  }

  const char* Addresses() const { return rd_kafka_mock_cluster_bootstraps(m_mock); }

  // Shares the partitions out, to all brokers or without the failing one. A broker looks for such
  // orders once a second, or when it is asked something: have a reader before.
  void Lead(bool without) {
    for (int i = 0; i < static_cast<int>(m_leaders.size()); ++i) {
      int leader = 1 + i % kBrokers;
      if (without && leader == kFailing) leader = kFailing + 1 + i / kBrokers % (kBrokers - 1);
      int& current = m_leaders[static_cast<std::size_t>(i)];
      if (current == leader) continue;
      Check(rd_kafka_mock_partition_set_leader(m_mock, kTopic, i, leader));
      current = leader;
    }
  }

  void TakeDown() {
    Check(rd_kafka_mock_broker_set_down(m_mock, kFailing));
    ::sleep(kElectionSeconds);
    Lead(true);
  }

  void BringBack() {
    Check(rd_kafka_mock_broker_set_up(m_mock, kFailing));
    Lead(false);
  }

 private:
  rd_kafka_mock_cluster_t* const m_mock;
  std::vector<int> m_leaders;  // of the partitions; 0 is unknown
};

// Prints a message behind the time, and reports those before it that the brokers had to drop:
// they hold 5 MiB of a partition.
void Take(const rd_kafka_message_t& message, std::vector<long>& next) {
  if (message.err != RD_KAFKA_RESP_ERR_NO_ERROR) {
    (void)std::fprintf(stderr, "reader: %s\n", rd_kafka_message_errstr(&message));
    return;
  }
  using std::chrono::microseconds;
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const long us = std::chrono::duration_cast<microseconds>(now).count();
  std::string_view text(static_cast<const char*>(message.payload), message.len);
  if (text.ends_with('\n')) text.remove_suffix(1);
  (void)std::printf("%ld.%06ld %.*s\n", us / 1'000'000, us % 1'000'000,
                    static_cast<int>(text.size()), text.data());
  long& expected = next[static_cast<std::size_t>(message.partition)];
  if (message.offset != expected) {
    (void)std::fprintf(stderr, "reader: partition %d: %ld before offset %ld were not read\n",
                       message.partition, message.offset - expected, message.offset);
  }
  expected = message.offset + 1;
}

void Assign(rd_kafka_t* client, int partitions) {
  const std::unique_ptr<rd_kafka_topic_partition_list_t,
                        decltype(&rd_kafka_topic_partition_list_destroy)>
      list(rd_kafka_topic_partition_list_new(partitions), rd_kafka_topic_partition_list_destroy);
  for (int i = 0; i < partitions; ++i) {
    rd_kafka_topic_partition_list_add(list.get(), kTopic, i)->offset = 0;
  }
  Check(rd_kafka_poll_set_consumer(client));
  Check(rd_kafka_assign(client, list.get()));
}

void Read(rd_kafka_t* client, int partitions, const std::stop_token& stop) {
  std::vector<long> next(static_cast<std::size_t>(partitions));
  while (!stop.stop_requested()) {
    rd_kafka_message_t* message = rd_kafka_consumer_poll(client, 0);
    if (message == nullptr) {
      (void)std::fflush(stdout);
      message = rd_kafka_consumer_poll(client, 100);
    }
    if (message == nullptr) continue;
    Take(*message, next);
    rd_kafka_message_destroy(message);
  }
}

sigset_t BlockSignals() {
  sigset_t set;
  ::sigemptyset(&set);
  for (const int signal : {SIGUSR1, SIGUSR2, SIGTERM}) ::sigaddset(&set, signal);
  ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
  return set;
}

void Obey(Cluster& cluster, const sigset_t& signals) {
  for (int signal = 0; ::sigwait(&signals, &signal) == 0 && signal != SIGTERM;) {
    signal == SIGUSR1 ? cluster.TakeDown() : cluster.BringBack();
  }
}

}  // namespace

void RunBrokers(const Words& words) {
  const int partitions = std::stoi(words.at(0));
  const sigset_t signals = BlockSignals();  // in all threads of the client, too
  const Client client = MakeClient();
  Cluster cluster(client.get(), partitions);
  Assign(client.get(), partitions);
  const std::jthread reader(
      [&](const std::stop_token& stop) { Read(client.get(), partitions, stop); });
  cluster.Lead(false);
  WriteFile(words.at(1), cluster.Addresses());
  Obey(cluster, signals);
}
