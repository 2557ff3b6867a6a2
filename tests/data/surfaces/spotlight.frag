#version 450
layout(location = 0) in vec3 vPosition;
layout(location = 1) in vec3 vNormal;
layout(location = 2) in vec2 vUv;
layout(set = 0, binding = 1) uniform Light {
    vec3 lightPosition;
    vec3 axis;
    vec3 light;
    float cosInner;
    float cosOuter;
    float exponent;
};
layout(set = 0, binding = 2) uniform sampler2D map;
layout(location = 0) out vec4 colour;

void main() {
    vec3 n = normalize(vNormal);
    vec3 toLight = lightPosition - vPosition;
    float distance = length(toLight);
    vec3 l = normalize(toLight);
    vec3 v = normalize(-vPosition);
    float strength = smoothstep(cosOuter, cosInner, dot(-l, axis)) / (1.0 + distance * (0.1 + distance * 0.02));
    float cosine = dot(n, l);
    vec3 diffuse = texture(map, vUv).rgb * max(cosine, 0.0);
    float highlight = pow(max(dot(reflect(-l, n), v), 0.0), exponent) * step(0.0, cosine);
    colour = vec4(light * strength * (diffuse + highlight), 1.0);
}
