package zorf.namenode;

import java.io.IOException;
import java.net.InetSocketAddress;
import java.net.URI;
import org.apache.hadoop.conf.Configuration;
import org.apache.hadoop.fs.CommonConfigurationKeysPublic;
import org.apache.hadoop.http.HttpServer2;
import org.apache.hadoop.security.authorize.AccessControlList;

/**
 * Hadoop's own web server, with the pages that it brings along: /jmx and /prom with the metrics,
 * /conf and /stacks. Whoever reaches the port may read them; nothing can be changed through them.
 */
final class HttpPages implements AutoCloseable {
  private final HttpServer2 server;

  /** Binds the port and begins to serve. */
  HttpPages(Configuration configuration, String bind, int port) throws IOException {
    Configuration own = new Configuration(configuration);
    own.setBoolean(CommonConfigurationKeysPublic.HADOOP_PROMETHEUS_ENABLED, true);
    // Nobody is an administrator: /logLevel, which could switch the audit log off, is refused.
    own.setBoolean(CommonConfigurationKeysPublic.HADOOP_SECURITY_AUTHORIZATION, true);
    // Has this host's name in it, which may have no address, and serves a login that there is none of.
    own.unset("hadoop.http.authentication.kerberos.principal");
    server =
        new HttpServer2.Builder()
            .setName("zorf-namenode")
            .setConf(own)
            .setACL(new AccessControlList(""))
            .addEndpoint(URI.create("http://" + bracketed(bind) + ":" + port))
            .setFindPort(false)
            .build();
    server.start();
  }

  private static String bracketed(String address) {
    return address.indexOf(':') < 0 ? address : "[" + address + "]";
  }

  /** {@return where the pages are} */
  String url() {
    InetSocketAddress address = server.getConnectorAddress(0);
    return "http://" + bracketed(address.getAddress().getHostAddress()) + ":" + address.getPort();
  }

  @Override
  public void close() {
    try {
      server.stop();
    } catch (Exception e) {
      // The process ends, and its port with it.
    }
  }
}
