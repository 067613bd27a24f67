// Who may reach the hub, and which hub is believed.
#include <fstream>
#include <sstream>

#include "support.h"

namespace KORA::DistributedKv::Client::Etcd {
namespace {

HubResult WatchResult(Client& client, const std::string& begin, const std::string& end) {
  Listener listener;
  const auto watch = client.Hub().StartWatch(begin, end, 0, listener);
  EXPECT_TRUE(client.Events().Until([&] { return listener.started || listener.end; }));
  return listener.started ? HubResult::kDone : *listener.end;
}

// How often the hub has been asked to check a password.
int CountAuthentications(const Servers& servers) {
  const std::string& endpoint = servers.Endpoints()[0];
  const std::string port = endpoint.substr(endpoint.find(':') + 1);
  const std::string get = "printf 'GET /metrics HTTP/1.0\\r\\n\\r\\n' >&3; cat <&3";
  const std::string text = Run({"bash", "-c", "exec 3<>/dev/tcp/127.0.0.1/" + port + "; " + get});
  const std::string name = "grpc_server_started_total{grpc_method=\"Authenticate\"";
  const size_t line = text.find(name);
  return line == std::string::npos ? -1 : std::stoi(text.substr(text.find('}', line) + 1));
}

TEST(EtcdSecurity, UsersSeeWhatTheirRolesAllow) {
  Servers servers({1, {"--bcrypt-cost=4"}, "http", {"--user=root:rootpw"}});
  const auto client = [&servers](const std::string& user, const std::string& password) {
    ClusterSettings settings = SettingsFor(servers);
    settings.user = user;
    settings.password = password;
    return std::make_unique<Client>(settings);
  };
  const auto early = client("device", "secret");
  EXPECT_EQ(early->Put("app/early", "x").result, HubResult::kDone) << "the hub lets in everybody";
  for (const Arguments& command :
       std::vector<Arguments>{{"user", "add", "root:rootpw"},
                              {"user", "grant-role", "root", "root"},
                              {"role", "add", "device"},
                              {"role", "grant-permission", "device", "--prefix=true", "readwrite", "app/"},
                              {"user", "add", "device:secret"},
                              {"user", "grant-role", "device", "device"},
                              {"auth", "enable"}}) {
    Arguments anonymous = {"--user="};
    anonymous.insert(anonymous.end(), command.begin(), command.end());
    servers.Control(anonymous);
  }
  EXPECT_EQ(early->Put("app/early", "y").result, HubResult::kDone) << "users were introduced meanwhile";

  for (const auto& [user, password] :
       {std::pair("", ""), std::pair("device", "wrong"), std::pair("nobody", "x")}) {
    const auto stranger = client(user, password);
    const int before = CountAuthentications(servers);
    EXPECT_EQ(stranger->Range({"app/", "app0"}).result, HubResult::kDenied) << user;
    EXPECT_EQ(stranger->Put("app/a", "").result, HubResult::kDenied) << user;
    EXPECT_EQ(WatchResult(*stranger, "app/", "app0"), HubResult::kDenied) << user;
    EXPECT_LT(CountAuthentications(servers) - before, 3) << "a refusal holds for a while";
  }
  const auto device = client("device", "secret");
  EXPECT_EQ(WatchResult(*device, "app/", "app0"), HubResult::kDone);
  EXPECT_EQ(device->Put("app/a", "1").result, HubResult::kDone);
  EXPECT_EQ(device->Value("app/early"), "y");
  EXPECT_EQ(device->Range({"a", "b"}).result, HubResult::kDenied);
  EXPECT_EQ(device->Put("other/a", "1").result, HubResult::kDenied);
  EXPECT_EQ(WatchResult(*device, "a", "b"), HubResult::kDenied);
  EXPECT_EQ(device->Put("app/b", "1", device->Grant(60'000).lease).result, HubResult::kDone);

  // The tokens end with the server. A watch is told so in the words for lack of rights.
  servers.Kill(0);
  servers.Start(0);
  ASSERT_TRUE(early->Reach("app/early"));
  HubResult watched = HubResult::kUnavailable;
  while (watched == HubResult::kUnavailable) watched = WatchResult(*device, "app/", "app0");
  EXPECT_EQ(watched, HubResult::kDone);
  EXPECT_EQ(early->Put("app/early", "z").result, HubResult::kDone);
}

class Certificates {
 public:
  explicit Certificates(const std::string& name) : name_(name) {
    Make("ca", {"-subj", "/CN=" + name});
    Issue("server", "subjectAltName=DNS:hub.example,IP:127.0.0.1");
    Issue("device", "extendedKeyUsage=clientAuth");
  }

  std::string File(const std::string& file) const { return (folder_.Path() / (name_ + file)).string(); }
  std::string Text(const std::string& file) const {
    std::ostringstream text;
    text << std::ifstream(File(file)).rdbuf();
    return text.str();
  }

 private:
  void Issue(const std::string& whom, const std::string& extension) const {
    Make(whom, {"-subj", "/CN=" + whom, "-CA", File("ca.pem"), "-CAkey", File("ca.key"), "-addext", extension,
                "-addext", "basicConstraints=critical,CA:false"});
  }
  void Make(const std::string& whom, const Arguments& more) const {
    Arguments command = {"openssl",
                         "req",
                         "-x509",
                         "-newkey",
                         "ec",
                         "-pkeyopt",
                         "ec_paramgen_curve:prime256v1",
                         "-nodes",
                         "-days",
                         "2",
                         "-keyout",
                         File(whom + ".key"),
                         "-out",
                         File(whom + ".pem")};
    command.insert(command.end(), more.begin(), more.end());
    Run(command);
  }

  const std::string name_;
  const TemporaryFolder folder_;
};

TEST(EtcdSecurity, TlsAuthenticatesBothSides) {
  const Certificates ours("ours");
  const Certificates others("others");
  const Servers servers({1,
                         {"--cert-file=" + ours.File("server.pem"), "--key-file=" + ours.File("server.key"),
                          "--trusted-ca-file=" + ours.File("ca.pem"), "--client-cert-auth"},
                         "https"});
  struct Case {
    const char* what;
    const Certificates* authority;
    const Certificates* own;
    const char* serverName;
    bool reached;
  };
  for (const Case& c : std::vector<Case>{{"by address", &ours, &ours, "", true},
                                         {"by name", &ours, &ours, "hub.example", true},
                                         {"another name", &ours, &ours, "other.example", false},
                                         {"another authority", &others, &ours, "", false},
                                         {"the system's authorities", nullptr, &ours, "", false},
                                         {"no certificate", &ours, nullptr, "", false},
                                         {"another's certificate", &ours, &others, "", false}}) {
    ClusterSettings settings = SettingsFor(servers);
    settings.scheme = ClusterSettings::Scheme::kHttps;
    settings.serverName = c.serverName;
    if (c.authority != nullptr) settings.authority = c.authority->Text("ca.pem");
    if (c.own != nullptr) {
      settings.certificate = c.own->Text("device.pem");
      settings.key = c.own->Text("device.key");
    }
    Client client(settings);
    // Some of a connection stands before the hub looks at the certificate, so this may be an unknown outcome.
    EXPECT_EQ(client.Put("a", "").result == HubResult::kDone, c.reached) << c.what;
    EXPECT_EQ(client.Range({"a", "b"}).result, c.reached ? HubResult::kDone : HubResult::kUnavailable)
        << c.what;
  }
  EXPECT_NE(Client(SettingsFor(servers)).Put("a", "").result, HubResult::kDone) << "without TLS";
}

}  // namespace
}  // namespace KORA::DistributedKv::Client::Etcd
